// A library that the test module needs. Its exports do not count as the test module's.
#include <tarnkit/export.h>

extern "C" TARNKIT_MODULE_EXPORT int TestDependencyExport() { return 2; }
