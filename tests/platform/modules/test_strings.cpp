// The strings of the module that the tests load; test_strings.rc has the same for Windows.
#include <tarnkit/resource_strings.h>

#include <iterator>

namespace {

constexpr Tarn::CResourceString kStrings[] = {
    {17, u"seventeen", 9},
    {18, u"", 0},
    {4096, u"\u041F\u0440\u0438\u0432\u0435\u0442", 6},
    {65535, u"last", 4},
};

} // namespace

const Tarn::CResourceStrings ___TarnkitStrings = {Tarn::CResourceStrings::kVersion,
                                                  static_cast<int>(std::size(kStrings)), kStrings};
