// Text of unknown origin that is read as a format, made harmless.
#pragma once
#include <string>

// So many conversions of a line are carried out; the ones after them stand as text.
constexpr int kMostZeroConversions = 32;

// The arguments that the conversions of such a format can take from an argument list: two widths and a value that may
// be aligned to 16 bytes each, after as many floating-point registers as a convention has.
constexpr int kZeroFloats = 8;
constexpr int kZeroWords = 8 + 5 * kMostZeroConversions;

// A format whose conversions take zero arguments only and write nothing: what is not a conversion, the conversions that
// write, and those beyond the number above become text. A width or precision longer than any line is cut to 1024.
std::string FormatForZeroArguments(const char *line);
