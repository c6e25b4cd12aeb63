// What nearly every test includes (see cmake/precompiled.h).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "cmake/precompiled.h"
