// The server's icon, a yellow folder. It is drawn when it is asked for, so no image file has to be installed.
#pragma once

#include "meta/scale.h"

// 168 x 112 pixels, the size that item descriptions offer.
RgbPicture icon_draw();
