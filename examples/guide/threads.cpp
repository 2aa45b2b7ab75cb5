#include <tarnkit/tarnkit.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <mutex>
#include <thread>
#include <vector>

using namespace Tarn;

constexpr unsigned kUtf8 = 65001;
constexpr int kWorkers = 2;

static void print(const CUnicodeString& text) { std::cout << text.CreateString(kUtf8) << '\n'; }

// Called on every thread that reports something, so it has a lock.
class CReports : public CMessageHandler {
public:
    int ShowMessage(HWND, const char16_t* text, const char16_t*, unsigned flags) override {
        const std::lock_guard lock(mutex);
        texts.Add(text);
        return GetDefaultReturnValue(flags);
    }
    int Number() const { return texts.Size(); }

private:
    std::mutex mutex;
    CArray<CUnicodeString> texts;
};

static CCacheSetup<int> linesRead(u"Threads", u"LinesRead", 0, ST_UserSection);

// The number of lines in a file; 0 if it cannot be read.
static int countLines(const CUnicodeString& name) {
    try {
        const CUnicodeString text = CFile::ReadText(name, kUtf8);
        return static_cast<int>(std::count(text.Ptr(), text.Ptr() + text.GetLength(), u'\n'));
    } catch (CException* e) {
        Warning(e);
        Delete(e);
        return 0;
    }
}

int main() {
    if (!Initialize(u"Software\\Example\\Guide", u"Software\\Example\\Guide"))
        return 1;
    CReports reports; // outlives every thread that may report something
    CMessageHandlerSwitcher toReports(&reports);

    CArray<CUnicodeString> names; // the workers only read it
    for (int lines = 1; lines <= 4; lines++) {
        names.Add(TempFile::New(u"txt"));
        CFile::WriteText(names.Last(), CUnicodeString(u'\n', lines));
    }
    TempFile::Delete(names[2]);

    std::atomic<int> next{0};
    std::atomic<int> lines{0};
    std::vector<std::thread> workers;
    for (int i = 0; i < kWorkers; i++)
        workers.emplace_back([&] {
            for (int file; (file = next++) < names.Size();)
                lines += countLines(names[file]);
        });
    for (std::thread& worker : workers)
        worker.join();

    linesRead.Set(lines);
    print(UnicodeStr(linesRead.Get()) + u" lines, " + UnicodeStr(reports.Number()) + u" file cannot be read");
    Clean();
}
