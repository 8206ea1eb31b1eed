#include "platform/prompt/window/style.h"

#include <cstring>

// Sizes go with the font, colours are the theme's: its red alone can hardly be read on a dark ground.
static constexpr char css[] =
    ".qrt-heading { font-size: 1.25em; font-weight: bold; }\n"
    ".qrt-title { font-weight: bold; }\n"
    ".qrt-caption { font-size: 0.9em; opacity: 0.8; }\n"
    ".qrt-problem { color: mix(@error_color, @theme_fg_color, 0.35); font-weight: bold; }\n"
    ".qrt-hint { font-weight: bold; }\n";

// The toolkit follows its own setting alone, desktops have another one for all programs.
static bool desktop_prefers_dark() {
    GSettingsSchemaSource *source = g_settings_schema_source_get_default();
    if (source == nullptr) return false;
    GSettingsSchema *schema = g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE);
    if (schema == nullptr) return false;
    bool isDark = false;
    if (g_settings_schema_has_key(schema, "color-scheme")) {
        GSettings *settings = g_settings_new("org.gnome.desktop.interface");
        char *scheme = g_settings_get_string(settings, "color-scheme");
        isDark = strcmp(scheme, "prefer-dark") == 0;
        g_free(scheme);
        g_object_unref(settings);
    }
    g_settings_schema_unref(schema);
    return isDark;
}

bool style_init(const char *program, const char *name) {
    g_set_prgname(program);
    g_set_application_name(name);
    if (!gtk_init_check()) return false;
    if (desktop_prefers_dark())
        g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", TRUE, nullptr);
    GtkCssProvider *provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(provider, css, -1);
    gtk_style_context_add_provider_for_display(gdk_display_get_default(), GTK_STYLE_PROVIDER(provider),
                                               GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(provider);
    return true;
}

static gboolean close_window(GtkWidget *window, GVariant *, gpointer) {
    gtk_window_close(GTK_WINDOW(window));
    return TRUE;
}

GtkWindow *style_window(const std::string &title, GtkAccessibleRole role) {
    auto *window =
        static_cast<GtkWindow *>(g_object_new(GTK_TYPE_WINDOW, "accessible-role", role, "title", title.c_str(),
                                              "icon-name", "dialog-password", "resizable", FALSE, nullptr));
    gtk_accessible_update_property(GTK_ACCESSIBLE(window), GTK_ACCESSIBLE_PROPERTY_LABEL, title.c_str(), -1);
    GtkEventController *keys = gtk_shortcut_controller_new();
    gtk_shortcut_controller_add_shortcut(
        GTK_SHORTCUT_CONTROLLER(keys),
        gtk_shortcut_new(gtk_keyval_trigger_new(GDK_KEY_Escape, static_cast<GdkModifierType>(0)),
                         gtk_callback_action_new(close_window, nullptr, nullptr)));
    gtk_widget_add_controller(GTK_WIDGET(window), keys);
    return window;
}

GdkRGBA style_problem_colour(GtkWidget *widget) {
    constexpr float share = 0.35F; // as above
    GdkRGBA red = {}, text = {};
    GtkStyleContext *context = gtk_widget_get_style_context(widget);
    gtk_style_context_lookup_color(context, "error_color", &red);
    gtk_style_context_lookup_color(context, "theme_fg_color", &text);
    const auto mix = [](float one, float other) { return one * (1 - share) + other * share; };
    return {mix(red.red, text.red), mix(red.green, text.green), mix(red.blue, text.blue), 1};
}

GtkBox *style_content(GtkWindow *window) {
    constexpr int margin = 18, spacing = 12;
    GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    gtk_widget_set_margin_top(box, margin);
    gtk_widget_set_margin_bottom(box, margin);
    gtk_widget_set_margin_start(box, margin);
    gtk_widget_set_margin_end(box, margin);
    gtk_window_set_child(window, box);
    return GTK_BOX(box);
}
