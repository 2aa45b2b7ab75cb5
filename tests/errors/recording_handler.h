// What the tests of reports share: a message handler that remembers what it was asked to show and answers as
// it is told, and a check of what is thrown.
#pragma once

#include <tarnkit/message_handlers.h>

#include <functional>
#include <string>
#include <vector>

struct CShownMessage {
    HWND owner;
    std::u16string text;
    std::u16string caption;
    unsigned flags;
};

class CRecordingHandler : public Tarn::CMessageHandler {
public:
    int ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, unsigned flags) override {
        shown.push_back({owner, text, caption, flags});
        if (whileShowing)
            whileShowing();
        return answer;
    }

    std::vector<CShownMessage> shown;
    int answer = 1;
    std::function<void()> whileShowing;
};

/// Whether `action` throws an `Exception*`.
template<class Exception, class Action>
bool Throws(Action action) {
    try {
        action();
    } catch (Exception* e) {
        e->Delete();
        return true;
    }
    return false;
}
