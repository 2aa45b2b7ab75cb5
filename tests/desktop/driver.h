// What the tests do with the windows of a toolkit, whichever it is. Each toolkit has a source of its own.
#pragma once

#include <tarnkit/window_system.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Tarn {

struct CSeenBox {
    std::string look; // the icon, the text and the buttons, of which the preselected one is in brackets
    HWND window = nullptr;
    HWND owner = nullptr;
    unsigned long id = 0;                              // of the display
    std::map<std::string, std::pair<int, int>> places; // of the buttons, on the display
};

/// Run on the thread of the windows, except for `Post`.
namespace Toolkit {

/// A window on the display.
HWND CreateWindow(HWND owner);
void DestroyWindow(HWND window);
/// As the user does in the title bar.
void CloseWindow(HWND window);
/// The box with this caption, if it is on the display.
std::optional<CSeenBox> SeeBox(const std::string& caption);
/// Lets the event loop run `work`. For any thread.
void Post(const std::function<void()>& work);

} // namespace Toolkit

} // namespace Tarn
