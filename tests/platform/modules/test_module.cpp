// The module that the tests of modules and resources load.
#include <tarnkit/resource_strings.h>

#include <iterator>

extern "C" int TestDependencyExport();

extern "C" TARNKIT_MODULE_EXPORT int TestModuleFunction() { return TestDependencyExport() + 40; }
extern "C" {
TARNKIT_MODULE_EXPORT extern const int TestModuleData;
const int TestModuleData = 851;
}

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
