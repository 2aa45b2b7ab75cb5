// The library for a test: with a folder of modules, with every message recorded, and started.
#pragma once

#include "tests/errors/reports.h"
#include "tests/support/assertion.h"

#include <tarnkit/lifecycle.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>

namespace Tarn {

inline std::ostream& operator<<(std::ostream& stream, const CUnicodeString& text) {
    return stream << text.CreateString(65001).Ptr();
}

inline CUnicodeString ToText(const std::filesystem::path& path) { return path.u16string().c_str(); }

class WithModules : public testing::Test {
protected:
    WithModules() { std::filesystem::create_directory(folder); }
    ~WithModules() noexcept override {
        while (IsTarnkitInitialized())
            Clean();
        TerminateTarnkit();
        std::filesystem::remove_all(folder);
    }

    /// A copy of a built module under a name in the test's own folder.
    CUnicodeString copyModule(const char* module, const char* name) {
        std::filesystem::copy_file(std::filesystem::path(TEST_MODULES) / module, folder / name);
        return ToText(folder / name);
    }

    const std::filesystem::path folder = std::filesystem::current_path() / "modules";
    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher{&handler};
};

class StartedLibrary : public WithModules {
protected:
    StartedLibrary() { EXPECT_TRUE(Initialize(nullptr, nullptr)); }
};

} // namespace Tarn
