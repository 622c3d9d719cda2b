/* The header needs nothing before it. */
#include "ridge-sdk.h"

_Static_assert(sizeof(ridgeErrorCallback) == sizeof(void (*)(void)), "callbacks are functions");

/* And it can be included twice. */
#include "ridge-sdk.h"
