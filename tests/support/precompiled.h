// What nearly every test includes (see cmake/precompiled.h).
#include "cmake/precompiled.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
