// Message boxes of the POSIX port: on a real terminal and without one.
#include "platform/platform.h"
#include "tests/support/fresh_folder.h"

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

namespace Platform = Tarn::Platform;

/// The answer of a box that uses these descriptors as standard input and error output.
int show(int input, int error, const char16_t* text, const char16_t* caption, UINT flags) {
    const int saved[] = {dup(STDIN_FILENO), dup(STDERR_FILENO)};
    dup2(input, STDIN_FILENO);
    dup2(error, STDERR_FILENO);
    const int answer = Platform::MessageBoxW(nullptr, text, caption, flags);
    dup2(saved[0], STDIN_FILENO);
    dup2(saved[1], STDERR_FILENO);
    close(saved[0]);
    close(saved[1]);
    return answer;
}

/// Asks on a terminal where `typed` was typed; `screen` is what the terminal showed.
int ask(UINT flags, const std::string& typed, std::string* screen) {
    int user = -1;
    int terminal = -1;
    termios silent{}; // an echo would appear at an unpredictable moment
    silent.c_lflag = ICANON;
    silent.c_oflag = OPOST | ONLCR;
    silent.c_cc[VEOF] = '\x04';
    EXPECT_EQ(openpty(&user, &terminal, nullptr, &silent, nullptr), 0);
    EXPECT_EQ(write(user, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    const int answer = show(terminal, terminal, u"Keep \u00E4?\r\nReally?", u"Title", flags);
    close(terminal); // ends the input
    screen->clear();
    for (char c; read(user, &c, 1) == 1;)
        *screen += c;
    close(user);
    return answer;
}

/// Shows a box where there is no terminal; `shown` is what it wrote.
int showWithoutTerminal(const std::u16string& text, const char16_t* caption, UINT flags, std::string* shown) {
    const int nothing = open("/dev/null", O_RDWR);
    const int output = open("box.txt", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int answer = show(nothing, output, text.c_str(), caption, flags);
    close(nothing);
    close(output);
    *shown = Tarn::BytesOf("box.txt");
    return answer;
}

TEST(MessageBoxOnATerminal, AsksUntilAButtonIsNamed) {
    const Tarn::CCapability kTerminals{access("/dev/pts/ptmx", F_OK) == 0 ? nullptr : "there is no /dev/pts"};
    TARNKIT_TEST_NEEDS(kTerminals);
    const std::tuple<UINT, std::string, int> questions[] = {
        {MB_OK, "\n", IDOK},
        {MB_OKCANCEL | MB_DEFBUTTON2, "\n", IDCANCEL},
        {MB_YESNO | MB_ICONQUESTION, " N \n", IDNO},
        {MB_YESNOCANCEL, "maybe\n4\n0\nyy\n2\n", IDNO},
        {MB_YESNOCANCEL | MB_DEFBUTTON3, "\x04", IDCANCEL},
        {MB_ABORTRETRYIGNORE, "IGNORE\n", IDIGNORE},
        {MB_RETRYCANCEL | MB_DEFBUTTON3, "\n", IDRETRY},
        {7, "", IDABORT}, // an unknown set has no buttons to ask about
        {MB_YESNO | MB_DEFBUTTON2, "yes\n", IDYES}};
    std::string screen;
    for (const auto& [flags, typed, answer] : questions)
        EXPECT_EQ(ask(flags, typed, &screen), answer) << flags << " " << typed;
    EXPECT_NE(screen.find("Title: Keep \xC3\xA4?\r\nReally?\r\n"), std::string::npos) << screen;
    EXPECT_NE(screen.find("1 Yes, 2 No (default): "), std::string::npos) << screen;
}

TEST(MessageBoxWithoutATerminal, AnswersThePreselectedButton) {
    std::string shown;
    for (const auto& [flags, answer] : {std::pair{MB_YESNOCANCEL | MB_DEFBUTTON2, IDNO}, {9u, IDABORT}})
        EXPECT_EQ(showWithoutTerminal(u"text", u"caption", flags, &shown), answer);
    EXPECT_EQ(shown, "caption: text\n");

    // Nothing that a terminal would obey.
    showWithoutTerminal(u"a\x1B[2J\r\n\tb\rc\x9B"
                        u"1m\x7F\u202E\u2066\u200Fd\xD800",
                        u"\a", MB_OK, &shown);
    EXPECT_EQ(shown, "\\x07: a\\x1B[2J\n\tb\\x0Dc\\x9B1m\\x7F\\u202E\\u2066\xE2\x80\x8F"
                     "d\xEF\xBF\xBD\n");

    // Longer than a single write.
    std::string line;
    std::u16string text;
    for (int i = 0; i < 999; i++) {
        line += "a\xF0\x9F\x98\x80";
        text += u"a\U0001F600";
    }
    showWithoutTerminal(text + u"\r\n", u"", MB_OK, &shown);
    EXPECT_EQ(shown, ": " + line + "\n\n");
}

TEST(MessageBoxWithoutATerminal, SurvivesAnErrorOutputThatCannotBeWritten) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const int full = open("/dev/full", O_WRONLY);
    for (const int output : {ends[1], full})
        EXPECT_EQ(show(full, output, nullptr, nullptr, MB_YESNO | MB_DEFBUTTON2), IDNO);
    close(full);
    close(ends[1]);
}

TEST(MessageBoxWithoutATerminal, NeverWritesToAFileThatTookTheDescriptorOfAClosedStream) {
    for (const std::string closed : {"0<&-", "1>&-", "2>&-", "1>&- 2>&-", "0<&- 2>&-", "0<&- 1>&- 2>&-"}) {
        std::filesystem::remove("document.txt");
        const Tarn::CProgramRun run =
            Tarn::RunProgram("\"" TARNKIT_CLOSED_STREAMS "\" 2>shown.txt " + closed + "; exit $?");
        EXPECT_EQ(run.exitCode, 0) << closed << ": the preselected button";
        EXPECT_EQ(std::filesystem::file_size("document.txt"), 0u) << closed;
        const bool isShown = closed.find('2') == std::string::npos;
        EXPECT_EQ(std::filesystem::file_size("shown.txt"), isShown ? 20u : 0u) << closed;
    }
}

} // namespace
