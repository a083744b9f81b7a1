// printf-style formatting into a std::string with wide-argument support that
// does not depend on the C locale (see the formatting notes in atlstr.h).
#pragma once

#include <cstdarg>
#include <string>

// Appends the formatted text to `out`. A NULL format appends nothing.
void PlatAppendFormatV(std::string& out, const char* format, va_list args);
