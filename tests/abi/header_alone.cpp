// The header compiles as C++ too, and needs nothing before it.
#include "ridge-sdk.h"

#include <type_traits>

static_assert(std::is_standard_layout_v<ridgeCaptureResult>);
static_assert(RIDGE_SUCCESS == 0);
