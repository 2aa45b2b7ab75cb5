// Windows for the program's messages, of the toolkits that it is built with.
#pragma once

#include <tarnkit/message_handlers.h>
#include <tarnkit/unicode_string.h>
#include <tarnkit/window_system.h>

#include <memory>

/// While it exists, messages are shown in boxes.
class CMessageWindows {
public:
    /// `toolkit` is "gtk" or "qt". Throws if the program has no such windows.
    explicit CMessageWindows(const Tarn::CUnicodeString& toolkit);
    ~CMessageWindows();

    CMessageWindows(const CMessageWindows&) = delete;
    CMessageWindows& operator=(const CMessageWindows&) = delete;

private:
    std::unique_ptr<Tarn::IWindowSystem> system;
    Tarn::CMessageBoxHandler handler;
    Tarn::CMessageHandlerSwitcher toBoxes{&handler, false};
};
