#pragma once

// Stands before every portable source when it is checked for macOS 13: what the standard library of
// that system has only from a later version on cannot be used. Names are a text check's business;
// these are overloads, which only a compiler tells apart.

#include <charconv>

// NOLINTBEGIN(cert-dcl58-cpp): declared again, to be refused
_LIBCPP_BEGIN_NAMESPACE_STD
#define VIEWER_SINCE_13_3 __attribute__((unavailable("std::to_chars of such a number: macOS 13.3")))
to_chars_result to_chars(char*, char*, float) VIEWER_SINCE_13_3;
to_chars_result to_chars(char*, char*, double) VIEWER_SINCE_13_3;
to_chars_result to_chars(char*, char*, long double) VIEWER_SINCE_13_3;
to_chars_result to_chars(char*, char*, double, chars_format) VIEWER_SINCE_13_3;
to_chars_result to_chars(char*, char*, double, chars_format, int) VIEWER_SINCE_13_3;
_LIBCPP_END_NAMESPACE_STD
