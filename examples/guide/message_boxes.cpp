#include <tarnkit/tarnkit.h>

#include <condition_variable>
#include <deque>
#include <iostream>
#include <mutex>
#include <thread>

using namespace Tarn;

// Shows the boxes of all threads on the thread that made it, which has the windows. A queue of boxes stands
// for the event loop of a toolkit.
class CWindows : public IWindowSystem {
public:
    int MessageBox(HWND, const char16_t* text, const char16_t*, UINT flags) override {
        if (std::this_thread::get_id() == windowThread)
            return show(text, flags); // nobody else would take it from the queue
        CBox box = {text, flags, 0};
        std::unique_lock lock(mutex);
        if (isClosed)
            return CMessageHandler::GetDefaultReturnValue(flags);
        boxes.push_back(&box);
        changed.notify_all();
        changed.wait(lock, [&] { return box.answer != 0; });
        return box.answer;
    }

    // The event loop. A toolkit runs its own, and is sent an event that shows the box.
    void Run() {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return hasQuit || !boxes.empty(); });
            if (hasQuit)
                break;
            CBox& box = *boxes.front();
            boxes.pop_front();
            lock.unlock(); // a box stays open for long, and others join the queue
            const int answer = show(box.text, box.flags);
            lock.lock();
            box.answer = answer;
            changed.notify_all();
        }
        // Nobody will show the others, or those that come later.
        isClosed = true;
        for (CBox* box : boxes)
            box->answer = CMessageHandler::GetDefaultReturnValue(box->flags);
        boxes.clear();
        changed.notify_all();
    }

    // Ends the event loop, from any thread.
    void Quit() {
        const std::lock_guard lock(mutex);
        hasQuit = true;
        changed.notify_all();
    }

private:
    struct CBox {
        const char16_t* text; // stays where it is, because the thread that asks is waiting
        UINT flags;
        int answer; // 0 until there is one
    };

    // A user who says yes to everything.
    int show(const char16_t* text, UINT flags) const {
        std::cout << CString(text, 65001)
                  << (std::this_thread::get_id() == windowThread ? "" : " (on a strange thread!)") << '\n';
        return (flags & MB_TYPEMASK) == MB_YESNO ? IDYES : IDOK;
    }

    const std::thread::id windowThread = std::this_thread::get_id();
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<CBox*> boxes;
    bool hasQuit = false;
    bool isClosed = false;
};

int main() {
    CWindows windows;
    SetWindowSystem(&windows);
    if (!Initialize(nullptr, nullptr))
        return 1;
    MessageBoxW(u"The import begins.", MB_OK);

    int first = 0;
    int last = 0;
    std::thread worker([&] {
        first = MessageBoxW(u"Import a file that does not exist?", MB_YESNO | MB_DEFBUTTON2);
        try {
            ThrowFileException(ERROR_FILE_NOT_FOUND, u"nothing.txt");
        } catch (CException* e) {
            Warning(e);
            e->Delete();
        }
        windows.Quit();
        last = MessageBoxW(u"Import another one?", MB_YESNO | MB_DEFBUTTON2);
    });
    windows.Run();
    worker.join();
    std::cout << "It was told " << (first == IDYES ? "yes" : "no") << ", and after the end "
              << (last == IDYES ? "yes" : "no") << '\n';

    Clean();
    SetWindowSystem(nullptr);
}
