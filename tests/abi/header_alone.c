/* The header needs nothing before it, and can be included twice. */
#include "ridge-sdk.h"
#include "ridge-sdk.h"

_Static_assert(sizeof(ridgeErrorCallback) == sizeof(void (*)(void)), "callbacks are functions");
