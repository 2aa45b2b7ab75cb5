#include "tools/tarnreg/data.h"

#include <cstring>

namespace tarnreg {

namespace {

const struct {
    const char16_t* name;
    DWORD type;
} kTypes[] = {{u"REG_NONE", REG_NONE},
              {u"REG_SZ", REG_SZ},
              {u"REG_EXPAND_SZ", REG_EXPAND_SZ},
              {u"REG_BINARY", REG_BINARY},
              {u"REG_DWORD", REG_DWORD},
              {u"REG_DWORD_LITTLE_ENDIAN", REG_DWORD},
              {u"REG_DWORD_BIG_ENDIAN", REG_DWORD_BIG_ENDIAN},
              {u"REG_LINK", REG_LINK},
              {u"REG_MULTI_SZ", REG_MULTI_SZ},
              {u"REG_RESOURCE_LIST", REG_RESOURCE_LIST},
              {u"REG_FULL_RESOURCE_DESCRIPTOR", REG_FULL_RESOURCE_DESCRIPTOR},
              {u"REG_RESOURCE_REQUIREMENTS_LIST", REG_RESOURCE_REQUIREMENTS_LIST},
              {u"REG_QWORD", REG_QWORD},
              {u"REG_QWORD_LITTLE_ENDIAN", REG_QWORD}};

constexpr std::u16string_view kDigits = u"0123456789abcdef";

int digitOf(char16_t unit) {
    const std::size_t digit = kDigits.find(unit >= u'A' && unit <= u'F' ? unit | 0x20 : unit);
    return digit == kDigits.npos ? -1 : static_cast<int>(digit);
}

std::u16string hexText(UInt64 number) {
    std::u16string text;
    do
        text.insert(text.begin(), kDigits[number & 15]);
    while ((number >>= 4) != 0);
    return u"0x" + text;
}

bool isNumber(DWORD type, std::size_t size) {
    return ((type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN) && size == 4) ||
           (type == REG_QWORD && size == 8);
}

bool isText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_LINK; }

void addUnits(std::u16string_view units, std::string& data) {
    for (const char16_t unit : units) {
        data += static_cast<char>(unit & 0xFF);
        data += static_cast<char>(unit >> 8);
    }
}

bool addDigits(std::u16string_view word, std::string& data) {
    int high = -1;
    for (const char16_t unit : word) {
        const int digit = digitOf(unit);
        if (digit < 0 && high < 0 && (unit == u',' || unit == u' '))
            continue;
        if (digit < 0)
            return false;
        if (high >= 0)
            data += static_cast<char>(high << 4 | digit);
        high = high < 0 ? digit : -1;
    }
    return high < 0;
}

} // namespace

std::u16string TypeName(DWORD type) {
    for (const auto& known : kTypes)
        if (known.type == type)
            return known.name;
    return hexText(type);
}

bool ParseType(std::u16string_view text, DWORD& type) {
    std::u16string name(text);
    for (char16_t& unit : name)
        if (unit >= u'a' && unit <= u'z')
            unit = static_cast<char16_t>(unit - u'a' + u'A');
    for (const auto& known : kTypes)
        if (name == known.name || u"REG_" + name == known.name) {
            type = known.type;
            return true;
        }
    UInt64 number;
    const bool isOne = ParseNumber(text, 4, number);
    type = isOne ? static_cast<DWORD>(number) : type;
    return isOne;
}

std::u16string DataText(const Value& value) {
    const std::string& data = value.data;
    const auto byteAt = [&data](std::size_t i) { return static_cast<unsigned char>(data[i]); };
    std::u16string text;
    if (isNumber(value.type, data.size())) {
        UInt64 number = 0;
        for (std::size_t i = 0; i < data.size(); i++)
            number = number << 8 | byteAt(value.type == REG_DWORD_BIG_ENDIAN ? i : data.size() - 1 - i);
        return hexText(number);
    }
    if ((!isText(value.type) && value.type != REG_MULTI_SZ) || data.size() % 2 != 0) {
        for (std::size_t i = 0; i < data.size(); i++)
            text.append({kDigits[byteAt(i) >> 4], kDigits[byteAt(i) & 15]});
        return text;
    }
    std::size_t size = data.size();
    const int mostTerminators = value.type == REG_MULTI_SZ ? 2 : 1;
    for (int i = 0; i < mostTerminators && size > 0 && byteAt(size - 2) == 0 && byteAt(size - 1) == 0; i++)
        size -= 2;
    for (std::size_t i = 0; i < size; i += 2) {
        const auto unit = static_cast<char16_t>(byteAt(i) | byteAt(i + 1) << 8);
        text += unit == 0 ? u"\\0" : std::u16string(1, unit);
    }
    return text;
}

bool ParseData(DWORD type, const std::vector<std::u16string>& words, std::string& data) {
    data.clear();
    if (isText(type) || type == REG_MULTI_SZ) {
        if (type != REG_MULTI_SZ && words.size() > 1)
            return false;
        for (const std::u16string& word : words) {
            if (type == REG_MULTI_SZ && word.empty())
                return false; // it would end the list
            addUnits(word + u'\0', data);
        }
        if (type == REG_MULTI_SZ || words.empty())
            addUnits(std::u16string(1, u'\0'), data);
        return true;
    }
    const int bytes = type == REG_QWORD ? 8 : type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN ? 4 : 0;
    if (bytes > 0) {
        UInt64 number;
        if (words.size() != 1 || !ParseNumber(words[0], bytes, number))
            return false;
        for (int i = 0; i < bytes; i++)
            data += static_cast<char>(number >> 8 * (type == REG_DWORD_BIG_ENDIAN ? bytes - 1 - i : i));
        return true;
    }
    for (const std::u16string& word : words)
        if (!addDigits(word, data))
            return false;
    return true;
}

bool ParseNumber(std::u16string_view text, int bytes, UInt64& number) {
    const bool isHex = text.starts_with(u"0x") || text.starts_with(u"0X");
    const unsigned radix = isHex ? 16 : 10;
    const UInt64 largest = ~UInt64{0} >> (64 - 8 * bytes);
    if (isHex)
        text.remove_prefix(2);
    number = 0;
    for (const char16_t unit : text) {
        const int digit = digitOf(unit);
        if (digit < 0 || static_cast<unsigned>(digit) >= radix ||
            number > (largest - static_cast<unsigned>(digit)) / radix)
            return false;
        number = number * radix + static_cast<unsigned>(digit);
    }
    return !text.empty();
}

} // namespace tarnreg
