// The module that the tests of modules and resources load. Each port has its own source for the strings.
#include <tarnkit/export.h>

extern "C" int TestDependencyExport();

extern "C" TARNKIT_MODULE_EXPORT int TestModuleFunction() { return TestDependencyExport() + 40; }
extern "C" {
TARNKIT_MODULE_EXPORT extern const int TestModuleData;
const int TestModuleData = 851;
}
