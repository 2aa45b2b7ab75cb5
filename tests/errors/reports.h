// Shared by the tests of reports: a message handler that records what it was asked to show and gives a set
// answer, the library with its texts, and the contents of report files.
#pragma once

#include <tarnkit/byte_order.h>
#include <tarnkit/tarnkit.h>

#include "tests/support/testing.h"

struct CShownMessage {
    std::u16string text;
    unsigned flags;
};

class CRecordingHandler : public Tarn::CMessageHandler {
public:
    int ShowMessage(HWND, const char16_t* text, const char16_t*, unsigned flags) override {
        shown.push_back({text, flags});
        if (whileShowing)
            whileShowing();
        return answer;
    }

    std::vector<CShownMessage> shown;
    int answer = 1;
    std::function<void()> whileShowing;
};

/// Starts the library, so that its catalogue is available.
class StartedForReports : public testing::Test {
protected:
    StartedForReports() { EXPECT_TRUE(Tarn::Initialize(nullptr, nullptr)); }
    ~StartedForReports() override { Tarn::Clean(); }
};

/// The code units of a file, by default one in UTF-16.
template<class Unit = char16_t>
inline std::basic_string<Unit> UnitsOf(const Tarn::CUnicodeString& name) {
    Tarn::CFile file(name, Tarn::CFile::ForReading | Tarn::CFile::DenyNone);
    std::basic_string<Unit> units(static_cast<std::size_t>(file.GetLength()) / sizeof(Unit), 0);
    file.Read(units.data(), file.GetLength());
    Tarn::TurnLittleEndian(units.data(), units.size());
    return units;
}
