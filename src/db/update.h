// Changing one field of an item on a control point's request.
#pragma once

#include <string_view>

#include "core/str.h"

// Replaces a field that still has the current value. The status is HTTP-like: 200 changed, 402 no such field, 403 the
// field has another value, 501 no such object, a container, or no field name. A field name may be abbreviated ("ti" is
// "title").
int db_update_object(const Text& id_text, const Text& field_name, const Text& current_value, const Text& new_value);
