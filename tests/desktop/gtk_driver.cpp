#include "tests/desktop/driver.h"

#include <gdk/gdkx.h>
#include <gtk/gtk.h>

namespace Tarn {

namespace {

// Visits a widget and all that it contains.
void visit(GtkWidget* widget, const std::function<void(GtkWidget*)>& look) {
    look(widget);
    if (!GTK_IS_CONTAINER(widget))
        return;
    GList* children = gtk_container_get_children(GTK_CONTAINER(widget));
    for (const GList* node = children; node != nullptr; node = node->next)
        visit(GTK_WIDGET(node->data), look);
    g_list_free(children);
}

std::pair<int, int> centreOf(GtkWidget* widget) {
    int x = 0, y = 0, left = 0, top = 0;
    GtkWidget* window = gtk_widget_get_toplevel(widget);
    gdk_window_get_origin(gtk_widget_get_window(window), &left, &top);
    gtk_widget_translate_coordinates(widget, window, gtk_widget_get_allocated_width(widget) / 2,
                                     gtk_widget_get_allocated_height(widget) / 2, &x, &y);
    return {left + x, top + y};
}

CSeenBox see(GtkWindow* window) {
    CSeenBox seen;
    std::string icon, text, buttons;
    visit(GTK_WIDGET(window), [&](GtkWidget* widget) {
        if (GTK_IS_IMAGE(widget)) {
            const char* name = nullptr;
            gtk_image_get_icon_name(GTK_IMAGE(widget), &name, nullptr);
            icon = std::string(name).substr(std::string("dialog-").size());
        } else if (GTK_IS_BUTTON(widget)) {
            const std::string label = gtk_button_get_label(GTK_BUTTON(widget));
            buttons += gtk_window_get_default_widget(window) == widget ? " [" + label + "]" : " " + label;
            seen.places[label] = centreOf(widget);
        } else if (GTK_IS_LABEL(widget) && !GTK_IS_BUTTON(gtk_widget_get_parent(widget))) {
            text += gtk_label_get_text(GTK_LABEL(widget));
        }
    });
    const std::string kind = gtk_window_get_modal(window) ? "" : "not modal ";
    seen.look = kind + icon + ": " + text + buttons;
    seen.window = reinterpret_cast<HWND>(window);
    seen.owner = reinterpret_cast<HWND>(gtk_window_get_transient_for(window));
    seen.id = gdk_x11_window_get_xid(gtk_widget_get_window(GTK_WIDGET(window)));
    return seen;
}

} // namespace

HWND Toolkit::CreateWindow(HWND owner) {
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_transient_for(GTK_WINDOW(window), reinterpret_cast<GtkWindow*>(owner));
    gtk_window_set_destroy_with_parent(GTK_WINDOW(window), TRUE);
    gtk_widget_show(window);
    return reinterpret_cast<HWND>(window);
}

void Toolkit::DestroyWindow(HWND window) { gtk_widget_destroy(reinterpret_cast<GtkWidget*>(window)); }

void Toolkit::CloseWindow(HWND window) { gtk_window_close(reinterpret_cast<GtkWindow*>(window)); }

std::optional<CSeenBox> Toolkit::SeeBox(const std::string& caption) {
    std::optional<CSeenBox> seen;
    GList* all = gtk_window_list_toplevels();
    for (const GList* node = all; node != nullptr; node = node->next) {
        const char* title = gtk_window_get_title(GTK_WINDOW(node->data));
        if (title != nullptr && title == caption && gtk_widget_get_mapped(GTK_WIDGET(node->data)))
            seen = see(GTK_WINDOW(node->data));
    }
    g_list_free(all);
    return seen;
}

void Toolkit::Post(const std::function<void()>& work) {
    const auto run = [](void* data) -> gboolean {
        const std::unique_ptr<std::function<void()>> posted(static_cast<std::function<void()>*>(data));
        (*posted)();
        return G_SOURCE_REMOVE;
    };
    g_idle_add_full(G_PRIORITY_DEFAULT, run, new std::function<void()>(work), nullptr);
}

} // namespace Tarn
