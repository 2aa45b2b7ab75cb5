#include <tarnkit/gtk_windows.h>

#include "desktop/toolkit_windows.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>

#include <gdk/gdkkeysyms.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <utility>

namespace Tarn {

namespace {

constexpr int kMargin = 12;
constexpr int kSpacing = 6;
constexpr int kCharactersInLine = 70;
constexpr char kButton[] = "tarnkit-button"; // its code

using CText = std::unique_ptr<char, decltype(&g_free)>;

// GTK takes nothing but valid UTF-8.
CText utf8(const CUnicodeString& text) {
    const CString converted(text, CP_UTF8);
    return {g_utf8_make_valid(converted.Ptr(), converted.GetLength()), g_free};
}

GtkWindow* toWindow(HWND window) { return reinterpret_cast<GtkWindow*>(window); }
GtkWidget* toWidget(HWND window) { return reinterpret_cast<GtkWidget*>(window); }
HWND toHandle(GtkWindow* window) { return reinterpret_cast<HWND>(window); }

// The user's actions. -----------------------------------------------------------------------------------

void onClicked(GtkWidget* button, void* data) {
    auto& box = *static_cast<CBox*>(data);
    box.shownBy->Answer(box, GPOINTER_TO_INT(g_object_get_data(G_OBJECT(button), kButton)));
}

void leave(CBox& box) {
    const CBoxLook look(box.flags);
    if (look.escape != 0)
        box.shownBy->Answer(box, look.escape);
}

gboolean onDelete(GtkWidget*, GdkEvent*, void* box) {
    leave(*static_cast<CBox*>(box));
    return TRUE; // the answer destroys the window
}

gboolean onKey(GtkWidget*, GdkEventKey* event, void* box) {
    if (event->keyval != GDK_KEY_Escape)
        return FALSE;
    leave(*static_cast<CBox*>(box));
    return TRUE;
}

// By the program.
void onDestroy(GtkWidget*, void* data) {
    auto& box = *static_cast<CBox*>(data);
    box.window = nullptr;
    box.shownBy->Answer(box, CMessageHandler::GetDefaultReturnValue(box.flags));
}

// The contents of a box. --------------------------------------------------------------------------------

void addIcon(GtkBox* row, TBoxIcon icon) {
    static constexpr const char* kNames[] = {nullptr, "dialog-error", "dialog-question", "dialog-warning",
                                             "dialog-information"};
    if (icon == TBoxIcon::None)
        return;
    GtkWidget* image = gtk_image_new_from_icon_name(kNames[static_cast<int>(icon)], GTK_ICON_SIZE_DIALOG);
    gtk_widget_set_valign(image, GTK_ALIGN_START);
    gtk_box_pack_start(row, image, FALSE, FALSE, 0);
}

void addText(GtkBox* row, const char16_t* text) {
    GtkWidget* label = gtk_label_new(utf8(text).get());
    gtk_label_set_line_wrap(GTK_LABEL(label), TRUE);
    gtk_label_set_max_width_chars(GTK_LABEL(label), kCharactersInLine);
    gtk_label_set_xalign(GTK_LABEL(label), 0);
    gtk_label_set_selectable(GTK_LABEL(label), TRUE);
    gtk_box_pack_start(row, label, TRUE, TRUE, 0);
}

void addButtons(GtkContainer* row, const CBoxLook& look, CBox& box) {
    for (const int code : look.buttons) {
        GtkWidget* button = gtk_button_new_with_label(utf8(MessageBoxButtonText(code)).get());
        g_object_set_data(G_OBJECT(button), kButton, GINT_TO_POINTER(code));
        g_signal_connect(button, "clicked", G_CALLBACK(onClicked), &box);
        gtk_widget_set_can_default(button, TRUE);
        gtk_container_add(row, button);
        if (code != look.preselected)
            continue;
        gtk_widget_grab_default(button);
        gtk_widget_grab_focus(button);
    }
}

GtkBox* addBox(GtkWidget* container, GtkWidget* added) {
    gtk_container_add(GTK_CONTAINER(container), added);
    return GTK_BOX(added);
}

void fill(GtkWidget* window, const CBoxLook& look, CBox& box) {
    GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2 * kMargin);
    gtk_container_set_border_width(GTK_CONTAINER(column), kMargin);
    gtk_container_add(GTK_CONTAINER(window), column);
    GtkBox* row = addBox(column, gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kMargin));
    addIcon(row, look.icon);
    addText(row, box.text);
    GtkWidget* buttons = gtk_button_box_new(GTK_ORIENTATION_HORIZONTAL);
    gtk_button_box_set_layout(GTK_BUTTON_BOX(buttons), GTK_BUTTONBOX_END);
    gtk_box_set_spacing(addBox(column, buttons), kSpacing);
    addButtons(GTK_CONTAINER(buttons), look, box);
}

void dress(GtkWindow* window, const CBoxLook& look, const CBox& box) {
    gtk_window_set_title(window, utf8(box.caption).get());
    gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_DIALOG);
    gtk_window_set_resizable(window, FALSE);
    gtk_window_set_modal(window, TRUE);
    gtk_window_set_transient_for(window, toWindow(box.owner));
    gtk_window_set_destroy_with_parent(window, TRUE);
    gtk_window_set_skip_taskbar_hint(window, box.owner != nullptr);
    gtk_window_set_position(window, box.owner != nullptr ? GTK_WIN_POS_CENTER_ON_PARENT : GTK_WIN_POS_CENTER);
    gtk_window_set_keep_above(window, look.staysOnTop);
    gtk_window_set_deletable(window, look.escape != 0);
    atk_object_set_role(gtk_widget_get_accessible(GTK_WIDGET(window)), ATK_ROLE_ALERT);
}

} // namespace

class CGtkToolkit : public IToolkit {
public:
    CGtkToolkit() = default;
    CGtkToolkit(const CGtkToolkit&) = delete;
    CGtkToolkit& operator=(const CGtkToolkit&) = delete;
    ~CGtkToolkit() override {
        windows.Close();
        while (g_source_remove_by_user_data(&windows)) {
        }
    }

    void Wake() override {
        const auto handle = [](void* data) -> gboolean {
            static_cast<CToolkitWindows*>(data)->HandleCalls();
            return G_SOURCE_REMOVE;
        };
        g_idle_add_full(G_PRIORITY_DEFAULT, handle, &windows, nullptr);
    }
    void RunLoop() override { gtk_main(); }
    void QuitLoop() override {
        if (gtk_main_level() > 0)
            gtk_main_quit();
    }

    void Show(CBox& box, const CBoxLook& look) override {
        GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
        box.window = window;
        if (look.isRightToLeft)
            gtk_widget_set_direction(window, GTK_TEXT_DIR_RTL);
        dress(GTK_WINDOW(window), look, box);
        fill(window, look, box);
        g_signal_connect(window, "delete-event", G_CALLBACK(onDelete), &box);
        g_signal_connect(window, "key-press-event", G_CALLBACK(onKey), &box);
        g_signal_connect(window, "destroy", G_CALLBACK(onDestroy), &box);
        gtk_widget_show_all(window);
        gtk_window_set_focus_visible(GTK_WINDOW(window), TRUE); // on the preselected button
        if (look.comesToFront)
            gtk_window_present(GTK_WINDOW(window));
    }
    void Hide(CBox& box) override {
        auto* window = static_cast<GtkWidget*>(std::exchange(box.window, nullptr));
        if (window == nullptr)
            return;
        g_signal_handlers_disconnect_by_data(window, &box);
        gtk_widget_destroy(window);
    }
    void WaitFor(CBox& box) override {
        while (box.answer == 0)
            g_main_context_iteration(nullptr, TRUE);
    }

    std::vector<HWND> Windows() override {
        std::vector<HWND> result;
        GList* all = gtk_window_list_toplevels();
        for (const GList* node = all; node != nullptr; node = node->next)
            if (gtk_window_get_window_type(GTK_WINDOW(node->data)) == GTK_WINDOW_TOPLEVEL)
                result.push_back(toHandle(GTK_WINDOW(node->data)));
        g_list_free(all);
        return result;
    }
    bool Exists(HWND window) override {
        const std::vector<HWND> all = Windows();
        return std::ranges::find(all, window) != all.end();
    }
    HWND Owner(HWND window) override { return toHandle(gtk_window_get_transient_for(toWindow(window))); }
    HWND Parent(HWND) override { return nullptr; }
    bool IsVisible(HWND window) override { return gtk_widget_get_visible(toWidget(window)) != FALSE; }
    bool IsEnabled(HWND window) override { return gtk_widget_get_sensitive(toWidget(window)) != FALSE; }
    void Enable(HWND window, bool enable) override { gtk_widget_set_sensitive(toWidget(window), enable); }

    CToolkitWindows windows{*this};
};

CGtkWindowSystem::CGtkWindowSystem() {
    if (!gtk_init_check(nullptr, nullptr)) {
        const CMemoryManagerSwitcher toDefault(nullptr);
        throw new CCheckException(TOOLKIT_WITHOUT_DISPLAY, u"GTK");
    }
    toolkit = std::make_unique<CGtkToolkit>();
}

CGtkWindowSystem::~CGtkWindowSystem() noexcept = default;

void CGtkWindowSystem::Run() { toolkit->windows.Run(); }
void CGtkWindowSystem::Quit() { toolkit->windows.Quit(); }
void CGtkWindowSystem::Close() { toolkit->windows.Close(); }

int CGtkWindowSystem::MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) {
    return toolkit->windows.MessageBox(owner, text, caption, flags);
}

HWND CGtkWindowSystem::GetDesktopWindow() { return toolkit->windows.GetDesktopWindow(); }
HWND CGtkWindowSystem::GetWindow(HWND window, UINT command) {
    return toolkit->windows.GetWindow(window, command);
}
HWND CGtkWindowSystem::GetParent(HWND window) { return toolkit->windows.GetParent(window); }
LONG CGtkWindowSystem::GetWindowStyle(HWND window) { return toolkit->windows.GetWindowStyle(window); }
bool CGtkWindowSystem::IsWindowVisible(HWND window) { return toolkit->windows.IsWindowVisible(window); }
bool CGtkWindowSystem::IsWindowEnabled(HWND window) { return toolkit->windows.IsWindowEnabled(window); }
bool CGtkWindowSystem::EnableWindow(HWND window, bool enable) {
    return toolkit->windows.EnableWindow(window, enable);
}

} // namespace Tarn
