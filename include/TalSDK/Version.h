#pragma once
// The version of TalSDK.Machines. This header is the one source of the version: the build
// reads it, and the library's SONAME and package version follow it.

#define TALSDK_MACHINES_VERSION_MAJOR 0
#define TALSDK_MACHINES_VERSION_MINOR 1
#define TALSDK_MACHINES_VERSION_PATCH 0
#define TALSDK_MACHINES_VERSION_STRING "0.1.0"
