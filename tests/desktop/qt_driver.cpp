#include "tests/desktop/driver.h"

#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QWindow>

namespace Tarn {

namespace {

std::string utf8(const QString& text) {
    return CString(CUnicodeString(text.toStdU16String().c_str()), CP_UTF8).Ptr();
}

CSeenBox see(QMessageBox& box) {
    static constexpr const char* kIcons[] = {"", "information", "warning", "error", "question"};
    CSeenBox seen;
    const std::string kind = box.windowModality() == Qt::ApplicationModal ? "" : "not modal ";
    seen.look = kind + kIcons[box.icon()] + (": " + utf8(box.text()));
    std::map<int, QPushButton*> buttons; // from left to right
    for (QPushButton* button : box.findChildren<QPushButton*>())
        if (button->isVisible())
            buttons[button->x()] = button;
    for (const auto& [x, button] : buttons) {
        const std::string label = utf8(button->text());
        seen.look += button->isDefault() ? " [" + label + "]" : " " + label;
        const QPoint place = button->mapToGlobal(button->rect().center());
        seen.places[label] = {place.x(), place.y()};
    }
    seen.window = reinterpret_cast<HWND>(static_cast<QWidget*>(&box));
    seen.owner = reinterpret_cast<HWND>(box.parentWidget());
    seen.id = box.winId();
    return seen;
}

QWidget* toWidget(HWND window) { return reinterpret_cast<QWidget*>(window); }

} // namespace

HWND Toolkit::CreateWindow(HWND owner) {
    auto* window = new QWidget(toWidget(owner), Qt::Window);
    window->show();
    return reinterpret_cast<HWND>(window);
}

void Toolkit::DestroyWindow(HWND window) { delete toWidget(window); }

void Toolkit::CloseWindow(HWND window) { toWidget(window)->close(); }

std::optional<CSeenBox> Toolkit::SeeBox(const std::string& caption) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        if (box != nullptr && utf8(box->windowTitle()) == caption && box->isVisible() &&
            box->windowHandle()->isExposed())
            return see(*box);
    }
    return {};
}

void Toolkit::Post(const std::function<void()>& work) {
    QMetaObject::invokeMethod(qApp, work, Qt::QueuedConnection);
}

} // namespace Tarn
