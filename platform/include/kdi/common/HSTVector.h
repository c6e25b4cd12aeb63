// The platform's ordered sequence.
#pragma once

#include <vector>

template <class T>
using HSTVector = std::vector<T>;
