// Fixtures that set up the library for a test: a folder of modules, every message recorded, started.
#pragma once

#include "tests/errors/reports.h"
#include "tests/files/support.h"

namespace Tarn {

class WithModules : public FreshFolder {
protected:
    WithModules() : FreshFolder("modules") {}
    ~WithModules() noexcept override {
        while (IsTarnkitInitialized())
            Clean();
        TerminateTarnkit();
    }

    /// A copy of a built module under a name in the test's own folder.
    CUnicodeString copyModule(const char* module, const char* name) {
        std::filesystem::copy_file(Path(TEST_MODULES) / module, folder / name);
        return NameOf(folder / name);
    }

    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher{&handler};
};

class StartedLibrary : public WithModules {
protected:
    StartedLibrary() { EXPECT_TRUE(Initialize(nullptr, nullptr)); }
};

} // namespace Tarn
