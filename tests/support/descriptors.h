// descriptors.h - where a stream of the C library leads.
#pragma once

#include <cstdio>

namespace test_support {

// Lets `stream` lead to where `target` does. Returns what lead_back() needs, -1 on
// failure.
int lead_elsewhere(std::FILE* stream, std::FILE* target);
void lead_back(std::FILE* stream, int before);

}  // namespace test_support
