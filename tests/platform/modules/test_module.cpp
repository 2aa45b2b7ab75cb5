// The module that the tests of modules and resources load. Its strings stand in a source for each port.
#include <tarnkit/export.h>

extern "C" int TestDependencyExport();

extern "C" TARNKIT_MODULE_EXPORT int TestModuleFunction() { return TestDependencyExport() + 40; }
extern "C" {
TARNKIT_MODULE_EXPORT extern const int TestModuleData;
const int TestModuleData = 851;
}
