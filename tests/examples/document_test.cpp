#include "tests/files/support.h"

namespace Tarn {
namespace {

TEST(DocumentExample, IsStoredBesideTheProgramAndReadBack) {
    const Path document = Path(TARNKIT_DOCUMENT).replace_filename("document.bin");
    std::filesystem::remove(document);
    SetEnvironment("TARNKIT_TRACE", "stderr");
    const CProgramRun run = RunProgram("\"" TARNKIT_DOCUMENT "\"");
    SetEnvironment("TARNKIT_TRACE", nullptr);
    EXPECT_EQ(run.exitCode, 0);
    const Bytes expected("\x01\x0AG\0r\0\xFC\0\xDF\0e\0,\0 \0\x3C\x04\x38\x04\x40\x04"
                         "\xEA\x07\0\0\0\0\0\0\0\0\xE0\x3F",
                         34);
    EXPECT_EQ(BytesOf(document), expected);
    if (kTraceOutput) {
        EXPECT_NE(run.output.find("Gr\u00FC\u00DFe, \u043C\u0438\u0440, 2026, 0.5"), std::string::npos)
            << run.output;
    }
    std::filesystem::remove(document);
}

} // namespace
} // namespace Tarn
