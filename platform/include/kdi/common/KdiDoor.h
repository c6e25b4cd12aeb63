// The doors of a platform library: what other libraries may call. All else in a library is hidden from the loader.
//
// A class is marked with all of its members, inline ones apart; a function by itself. What the library below a door
// throws, or what a caller may ask a type of, is a door as well. docs/architecture.md says what a door may have: calls
// through a stub carry functions, and nothing else.
#pragma once

#define KDI_DOOR __attribute__((visibility("default")))

/// A class within one that is a door, and none itself.
#define KDI_INSIDE __attribute__((visibility("hidden")))
