// Maps that leave the eyes as they were recorded, for looking at colours without rectification.
#pragma once

#include "convert/eye_canvas.h"
#include "rectification/rectification_maps.h"

namespace veyrin {

/// For every pixel of both eyes: x = column, y = row.
RectificationMaps identity_maps(Size eye);

}  // namespace veyrin
