// The server's icon: a folder, drawn when it is asked for.
#pragma once

#include "meta/scale.h"

// 168 x 112 pixels, the size in which clients ask for it.
RgbPicture icon_draw();
