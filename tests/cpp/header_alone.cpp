// The C++ header compiles as C++17, and needs nothing before it.
#include "ridge-sdk.hpp"

static_assert(__cplusplus == 201703L, "compiled as what it is to be fit for");
