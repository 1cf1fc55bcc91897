#pragma once
// Whether the XML scans read sixteen bytes at a time with SSE2, which every x86-64 processor
// has. Elsewhere, and in builds that define TALSDK_PORTABLE_SCANS (CI has one, so that these
// are tested too), the portable scans run.

#if defined(__SSE2__) && !defined(TALSDK_PORTABLE_SCANS)
#define TALSDK_SSE2 1
#include <emmintrin.h>
#else
#define TALSDK_SSE2 0
#endif
