// system.h - windows.h without the parts and macros that get in the way. Only for the
// sources of this directory and their tests: nothing else of the tree sees it.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
