// The library started for a test, with a folder of modules and with every message recorded.
#pragma once

#include "tests/errors/recording_handler.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/unicode_string.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>

namespace Tarn {

inline std::ostream& operator<<(std::ostream& stream, const CUnicodeString& text) {
    return stream << text.CreateString(65001).Ptr();
}

} // namespace Tarn

inline Tarn::CUnicodeString toText(const std::filesystem::path& path) { return path.u16string().c_str(); }

/// The line of the assertion that `action` raises, 0 when it raises none.
template<class Action>
long assertionLine(Action action) {
    try {
        action();
    } catch (Tarn::CInternalError* e) {
        const long line = e->Line();
        e->Delete();
        return line;
    }
    return 0;
}

class WithModules : public testing::Test {
protected:
    WithModules() { std::filesystem::create_directory(folder); }
    ~WithModules() override {
        while (Tarn::IsTarnkitInitialized())
            Tarn::Clean();
        Tarn::TerminateTarnkit();
        std::filesystem::remove_all(folder);
    }

    /// A copy of a built module under a name in the test's own folder.
    Tarn::CUnicodeString copyModule(const char* module, const std::string& name) {
        const std::filesystem::path copy = folder / name;
        std::filesystem::copy_file(std::filesystem::path(TEST_MODULES) / module, copy);
        return toText(copy);
    }

    const std::filesystem::path folder = std::filesystem::current_path() / "modules";
    CRecordingHandler handler;
    Tarn::CMessageHandlerSwitcher switcher{&handler};
};

class StartedLibrary : public WithModules {
protected:
    StartedLibrary() { EXPECT_TRUE(Tarn::Initialize(nullptr, nullptr)); }
};
