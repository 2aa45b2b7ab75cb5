// A library that the test module needs: what it exports is not the test module's own.
#include <tarnkit/export.h>

extern "C" TARNKIT_MODULE_EXPORT int TestDependencyExport() { return 2; }
