// Percent coding of whole texts into owned strings, over the streaming
// filters of the URL kit.
#pragma once

#include <string>

#include "survey/foundation/byte_set.h"
#include "survey/foundation/data.h"

// The text with every byte outside `unescaped` written as "%" and two
// upper-case hex digits.
std::string PercentEncode(ConstData const& text, ByteSet const& unescaped);

// The text with each "%" and two hex digits turned into its byte; a "%"
// without two hex digits behind it stays as it is.
std::string PercentDecode(ConstData const& text);
