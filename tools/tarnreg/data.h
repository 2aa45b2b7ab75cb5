// The types and the data of values as users read and write them.
#pragma once

#include "tools/tarnreg/reg_file.h"

namespace tarnreg {

using Tarn::UInt64;

/// "REG_SZ"; the number in hexadecimal for a type without a name.
std::u16string TypeName(DWORD type);
/// Also takes names without "REG_" and in any case, and numbers. False if there is no such type.
bool ParseType(std::u16string_view text, DWORD& type);

/// The data for one line: texts as they are (several with \0 between them), numbers in hexadecimal with 0x,
/// everything else as hexadecimal digits.
std::u16string DataText(const Value& value);
/// The bytes of what a user has written for a type. False if it is none of its data.
bool ParseData(DWORD type, const std::vector<std::u16string>& words, std::string& data);

/// A number that fits into `bytes` bytes, decimal or, after 0x, hexadecimal.
bool ParseNumber(std::u16string_view text, int bytes, UInt64& number);

} // namespace tarnreg
