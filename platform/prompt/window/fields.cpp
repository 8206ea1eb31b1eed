#include "platform/prompt/window/fields.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "platform/prompt/window/password_buffer.h"

static constexpr int text_width = 52; // of a line, in characters

GtkWidget *field_text(const std::string &text) {
    GtkWidget *label = gtk_label_new(text.c_str());
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
    gtk_label_set_width_chars(GTK_LABEL(label), text_width);
    gtk_label_set_max_width_chars(GTK_LABEL(label), text_width);
    gtk_label_set_xalign(GTK_LABEL(label), 0);
    return label;
}

GtkWidget *field_heading(const std::string &text) {
    constexpr int lines = 3;
    GtkWidget *label = field_text(text);
    gtk_label_set_lines(GTK_LABEL(label), lines);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    gtk_label_set_width_chars(GTK_LABEL(label), text_width * 3 / 4);
    gtk_label_set_max_width_chars(GTK_LABEL(label), text_width * 3 / 4);
    gtk_widget_add_css_class(label, "qrt-heading");
    return label;
}

GtkWidget *field_long_text(const std::string &text) {
    constexpr int height = 200;
    constexpr size_t shortSize = 400, shortLines = 6;
    const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    if (text.size() <= shortSize && lines < shortLines) return field_text(text);
    GtkWidget *scrolled = gtk_scrolled_window_new();
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scrolled), TRUE);
    gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scrolled), height);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), field_text(text));
    return scrolled;
}

GtkWidget *field_caption(const std::string &text) {
    GtkWidget *label = field_text(text);
    gtk_widget_add_css_class(label, "qrt-caption");
    return label;
}

// The toolkit would have screen readers read a button's label twice, the first time with the "_".
static void keep_label_alone(GtkWidget *button) {
    gtk_accessible_reset_property(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_PROPERTY_LABEL);
}

GtkWidget *field_grid() {
    constexpr int rowSpacing = 6, columnSpacing = 12;
    GtkWidget *grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), rowSpacing);
    gtk_grid_set_column_spacing(GTK_GRID(grid), columnSpacing);
    return grid;
}

void field_add(GtkWidget *grid, int row, const char *label, GtkWidget *field) {
    GtkWidget *name = gtk_label_new_with_mnemonic(label);
    gtk_label_set_xalign(GTK_LABEL(name), 0);
    gtk_label_set_mnemonic_widget(GTK_LABEL(name), field);
    gtk_accessible_update_relation(GTK_ACCESSIBLE(field), GTK_ACCESSIBLE_RELATION_LABELLED_BY, name, nullptr, -1);
    gtk_widget_set_hexpand(field, TRUE);
    gtk_grid_attach(GTK_GRID(grid), name, 0, row, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), field, 1, row, 1, 1);
}

GtkWidget *field_entry(const std::string &text) {
    GtkWidget *entry = gtk_entry_new();
    gtk_editable_set_text(GTK_EDITABLE(entry), text.c_str());
    return entry;
}

// ---- the password ----

static void show_caps_lock(GdkDevice *keyboard, GParamSpec *, gpointer hint) {
    gtk_widget_set_visible(GTK_WIDGET(hint), gdk_device_get_caps_lock_state(keyboard));
}

static void watch_caps_lock(GtkWidget *hint) {
    GdkSeat *seat = gdk_display_get_default_seat(gdk_display_get_default());
    GdkDevice *keyboard = seat == nullptr ? nullptr : gdk_seat_get_keyboard(seat);
    gtk_widget_set_visible(hint, FALSE);
    if (keyboard == nullptr) return;
    g_signal_connect_object(keyboard, "notify::caps-lock-state", G_CALLBACK(show_caps_lock), hint,
                            static_cast<GConnectFlags>(0));
    show_caps_lock(keyboard, nullptr, hint);
}

static void show_or_hide(GtkButton *button, gpointer data) {
    GtkText *text = GTK_TEXT(data);
    const bool isShown = gtk_text_get_visibility(text) == FALSE;
    gtk_text_set_visibility(text, isShown ? TRUE : FALSE);
    g_object_set(text, "enable-undo", FALSE, nullptr); // which showing switches on: it keeps what has been deleted
    gtk_button_set_label(button, isShown ? catalogue_text("_Hide the password") : catalogue_text("_Show the password"));
    keep_label_alone(GTK_WIDGET(button));
}

static GtkEditable *no_delegate(GtkEditable *) {
    return nullptr;
}

// The toolkit (4.8) hands what an entry has to the accessibility bus, and each character as it is typed, a password's
// as well: it takes them from the delegate. Inside of the entry nothing goes by way of the interface.
// An entry makes itself by the toolkit's own function, though.
static GtkWidget *password_entry_new(GtkEditable **text) {
    static GtkEditableInterface *editable = nullptr;
    static decltype(editable->get_delegate) toolkits = nullptr;
    if (editable != nullptr) editable->get_delegate = toolkits;
    GtkWidget *entry = gtk_password_entry_new();
    editable = GTK_EDITABLE_GET_IFACE(entry);
    toolkits = editable->get_delegate;
    *text = gtk_editable_get_delegate(GTK_EDITABLE(entry));
    editable->get_delegate = no_delegate;
    return entry;
}

PasswordField field_password() {
    constexpr int spacing = 6;
    GtkEditable *text = nullptr;
    GtkWidget *entry = password_entry_new(&text);
    GtkEntryBuffer *buffer = password_buffer_new();
    gtk_text_set_buffer(GTK_TEXT(text), buffer);
    g_object_unref(buffer);

    GtkWidget *hint = gtk_label_new(catalogue_text("Caps Lock is on"));
    gtk_label_set_xalign(GTK_LABEL(hint), 0);
    gtk_widget_add_css_class(hint, "qrt-hint");
    watch_caps_lock(hint);
    GtkWidget *show = gtk_button_new_with_mnemonic(catalogue_text("_Show the password"));
    keep_label_alone(show);
    gtk_widget_set_halign(show, GTK_ALIGN_START);
    g_signal_connect(show, "clicked", G_CALLBACK(show_or_hide), text);
    GtkWidget *below = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    gtk_box_append(GTK_BOX(below), hint);
    gtk_box_append(GTK_BOX(below), show);
    return {entry, GTK_TEXT(text), below};
}

const char *field_password_text(const PasswordField &field) {
    return gtk_editable_get_text(GTK_EDITABLE(field.text));
}

void field_password_forget(const PasswordField &field) {
    gtk_editable_set_text(GTK_EDITABLE(field.text), "");
}

// ---- what is wrong ----

GtkWidget *field_problem() {
    GtkWidget *label = static_cast<GtkWidget *>(g_object_new(
        GTK_TYPE_LABEL, "accessible-role", GTK_ACCESSIBLE_ROLE_ALERT, "wrap", TRUE, "xalign", 0.0, nullptr));
    gtk_widget_add_css_class(label, "qrt-problem");
    gtk_widget_set_visible(label, FALSE);
    return label;
}

void field_mark_error(GtkWidget *field, GtkWidget *problem, const std::string &text) {
    gtk_label_set_text(GTK_LABEL(problem), text.c_str());
    gtk_widget_set_visible(problem, TRUE);
    gtk_widget_add_css_class(field, "error");
    gtk_accessible_update_state(GTK_ACCESSIBLE(field), GTK_ACCESSIBLE_STATE_INVALID, GTK_ACCESSIBLE_INVALID_TRUE, -1);
    gtk_accessible_update_relation(GTK_ACCESSIBLE(field), GTK_ACCESSIBLE_RELATION_ERROR_MESSAGE, problem, -1);
}

void field_clear_error(GtkWidget *field, GtkWidget *problem) {
    gtk_widget_set_visible(problem, FALSE);
    gtk_widget_remove_css_class(field, "error");
    gtk_accessible_reset_state(GTK_ACCESSIBLE(field), GTK_ACCESSIBLE_STATE_INVALID);
    gtk_accessible_reset_relation(GTK_ACCESSIBLE(field), GTK_ACCESSIBLE_RELATION_ERROR_MESSAGE);
}

// ---- buttons ----

GtkWidget *field_buttons() {
    constexpr int spacing = 6;
    GtkWidget *box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, spacing);
    gtk_box_set_homogeneous(GTK_BOX(box), TRUE);
    gtk_widget_set_halign(box, GTK_ALIGN_END);
    return box;
}

void field_button_label(GtkWidget *button, const char *label) {
    gtk_button_set_label(GTK_BUTTON(button), label);
    keep_label_alone(button);
}

GtkWidget *field_button(GtkWidget *buttons, const char *label, GCallback pressed, gpointer data) {
    GtkWidget *button = gtk_button_new_with_mnemonic(label);
    keep_label_alone(button);
    g_signal_connect(button, "clicked", pressed, data);
    gtk_box_append(GTK_BOX(buttons), button);
    return button;
}

void field_mark_default(GtkWidget *button) {
    gtk_widget_add_css_class(button, "suggested-action");
}

void field_describes(GtkWidget *text, GtkWidget *window) {
    gtk_accessible_update_relation(GTK_ACCESSIBLE(window), GTK_ACCESSIBLE_RELATION_DESCRIBED_BY, text, nullptr, -1);
}
