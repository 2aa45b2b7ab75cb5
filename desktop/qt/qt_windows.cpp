#include <tarnkit/qt_windows.h>

#include "desktop/toolkit_windows.h"

#include <tarnkit/message_handlers.h>

#include <QAbstractButton>
#include <QApplication>
#include <QEventLoop>
#include <QMessageBox>
#include <QPushButton>
#include <QScopeGuard>

#include <utility>

namespace Tarn {

namespace {

constexpr char kButton[] = "tarnkitButton"; // its code

QWidget* toWidget(HWND window) { return reinterpret_cast<QWidget*>(window); }
HWND toHandle(QWidget* widget) { return reinterpret_cast<HWND>(widget); }
QMessageBox* dialogOf(const CBox& box) { return static_cast<QMessageBox*>(box.window); }

QMessageBox::Icon iconOf(TBoxIcon icon) {
    static constexpr QMessageBox::Icon kIcons[] = {QMessageBox::NoIcon, QMessageBox::Critical,
                                                   QMessageBox::Question, QMessageBox::Warning,
                                                   QMessageBox::Information};
    return kIcons[static_cast<int>(icon)];
}

void dress(QMessageBox& dialog, const CBoxLook& look) {
    dialog.setTextFormat(Qt::PlainText);
    dialog.setTextInteractionFlags(Qt::TextSelectableByMouse);
    dialog.setWindowFlag(Qt::WindowStaysOnTopHint, look.staysOnTop);
    dialog.setWindowFlag(Qt::WindowCloseButtonHint, look.escape != 0);
    dialog.setAttribute(Qt::WA_QuitOnClose, false); // the application does not end with its last box
    dialog.setEnabled(true);                        // although its owner is not
    if (look.isRightToLeft)
        dialog.setLayoutDirection(Qt::RightToLeft);
}

// Buttons of one role stay in their order, and none of them is taken for the one to escape with.
void addButtons(QMessageBox& dialog, const CBoxLook& look) {
    for (const int code : look.buttons) {
        const QString text = QString::fromUtf16(MessageBoxButtonText(code).Ptr());
        QPushButton* button = dialog.addButton(text, QMessageBox::ActionRole);
        button->setProperty(kButton, code);
        if (code == look.preselected)
            dialog.setDefaultButton(button);
        if (code == look.escape)
            dialog.setEscapeButton(button);
    }
}

} // namespace

class CQtToolkit : public IToolkit {
public:
    CQtToolkit() {
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, &receiver, [this] { windows.Close(); });
    }
    CQtToolkit(const CQtToolkit&) = delete;
    CQtToolkit& operator=(const CQtToolkit&) = delete;
    ~CQtToolkit() override {
        windows.Close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void Wake() override {
        QMetaObject::invokeMethod(
            &receiver, [this] { windows.HandleCalls(); }, Qt::QueuedConnection);
    }
    void RunLoop() override { QCoreApplication::exec(); }
    void QuitLoop() override { QCoreApplication::quit(); }

    void Show(CBox& box, const CBoxLook& look) override {
        auto* dialog =
            new QMessageBox(iconOf(look.icon), QString::fromUtf16(box.caption), QString::fromUtf16(box.text),
                            QMessageBox::NoButton, toWidget(box.owner));
        box.window = dialog;
        dress(*dialog, look);
        addButtons(*dialog, look);
        QObject::connect(dialog, &QDialog::finished, &receiver, [&box, escape = look.escape] {
            const QAbstractButton* clicked = dialogOf(box)->clickedButton();
            const int left = escape != 0 ? escape : CMessageHandler::GetDefaultReturnValue(box.flags);
            box.shownBy->Answer(box, clicked != nullptr ? clicked->property(kButton).toInt() : left);
        });
        // By the program, for instance together with the owner.
        QObject::connect(dialog, &QObject::destroyed, &receiver, [&box] {
            box.window = nullptr;
            box.shownBy->Answer(box, CMessageHandler::GetDefaultReturnValue(box.flags));
        });
        dialog->show();
        if (!look.comesToFront)
            return;
        dialog->raise();
        dialog->activateWindow();
    }
    // The dialog may be the one that says so.
    void Hide(CBox& box) override {
        if (box.loop != nullptr)
            static_cast<QEventLoop*>(box.loop)->quit();
        QMessageBox* dialog = dialogOf(box);
        box.window = nullptr;
        if (dialog == nullptr)
            return;
        dialog->disconnect(&receiver);
        dialog->hide();
        dialog->deleteLater();
    }
    void WaitFor(CBox& box) override {
        QEventLoop loop;
        box.loop = &loop;
        const auto leave = qScopeGuard([&] { box.loop = nullptr; });
        loop.exec();
    }

    std::vector<HWND> Windows() override {
        std::vector<HWND> result;
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->windowType() == Qt::Window || widget->windowType() == Qt::Dialog)
                result.push_back(toHandle(widget));
        return result;
    }
    bool Exists(HWND window) override { return QApplication::allWidgets().contains(toWidget(window)); }
    HWND Owner(HWND window) override {
        QWidget* parent = toWidget(window)->window()->parentWidget();
        return parent != nullptr ? toHandle(parent->window()) : nullptr;
    }
    HWND Parent(HWND window) override {
        QWidget* widget = toWidget(window);
        return widget->isWindow() ? nullptr : toHandle(widget->parentWidget());
    }
    bool IsVisible(HWND window) override { return toWidget(window)->isVisible(); }
    bool IsEnabled(HWND window) override { return toWidget(window)->isEnabled(); }
    void Enable(HWND window, bool enable) override { toWidget(window)->setEnabled(enable); }

private:
    // Made before everything else, for a program that has none.
    struct COwnApplication {
        int count = 1;
        char name[8] = "tarnkit";
        char* arguments[2] = {name, nullptr};
        std::unique_ptr<QApplication> application{QCoreApplication::instance() == nullptr
                                                      ? std::make_unique<QApplication>(count, arguments)
                                                      : nullptr};
    } own;
    QObject receiver; // belongs to the thread of the windows

public:
    CToolkitWindows windows{*this};
};

CQtWindowSystem::CQtWindowSystem() : toolkit(std::make_unique<CQtToolkit>()) {}

CQtWindowSystem::~CQtWindowSystem() noexcept = default;

void CQtWindowSystem::Run() { toolkit->windows.Run(); }
void CQtWindowSystem::Quit() { toolkit->windows.Quit(); }
void CQtWindowSystem::Close() { toolkit->windows.Close(); }

int CQtWindowSystem::MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) {
    return toolkit->windows.MessageBox(owner, text, caption, flags);
}

HWND CQtWindowSystem::GetDesktopWindow() { return toolkit->windows.GetDesktopWindow(); }
HWND CQtWindowSystem::GetWindow(HWND window, UINT command) {
    return toolkit->windows.GetWindow(window, command);
}
HWND CQtWindowSystem::GetParent(HWND window) { return toolkit->windows.GetParent(window); }
LONG CQtWindowSystem::GetWindowStyle(HWND window) { return toolkit->windows.GetWindowStyle(window); }
bool CQtWindowSystem::IsWindowVisible(HWND window) { return toolkit->windows.IsWindowVisible(window); }
bool CQtWindowSystem::IsWindowEnabled(HWND window) { return toolkit->windows.IsWindowEnabled(window); }
bool CQtWindowSystem::EnableWindow(HWND window, bool enable) {
    return toolkit->windows.EnableWindow(window, enable);
}

} // namespace Tarn
