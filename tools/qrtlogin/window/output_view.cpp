#include "tools/qrtlogin/window/output_view.h"

#include <algorithm>
#include <deque>

#include "platform/catalogue.h"
#include "platform/prompt/window/style.h"
#include "tools/qrtlogin/window/output_text.h"

static constexpr guint batch_milliseconds = 50;
static constexpr size_t batch_lines = 1000;

static OutputText pending;
static GtkTextView *view;
static GtkTextBuffer *buffer;
static GtkTextMark *open_line; // where the line begins that is not complete yet
static GtkWidget *cut_note;
static size_t cut_lines = 0;
static guint batch = 0;
static bool follows = true; // until the person scrolls back

static bool is_at_end() {
    GtkAdjustment *position = gtk_scrollable_get_vadjustment(GTK_SCROLLABLE(view));
    return gtk_adjustment_get_value(position) + gtk_adjustment_get_page_size(position) >=
           gtk_adjustment_get_upper(position) - 1;
}

static gboolean look_where(gpointer) {
    follows = is_at_end();
    return G_SOURCE_REMOVE;
}

// Behind what the wheel or the key does.
static gboolean scrolled_by_wheel(GtkEventController *, double, double, gpointer) {
    g_idle_add_full(G_PRIORITY_LOW, look_where, nullptr, nullptr);
    return FALSE;
}

static gboolean moved_by_key(GtkEventController *, guint, guint, GdkModifierType, gpointer) {
    g_idle_add_full(G_PRIORITY_LOW, look_where, nullptr, nullptr);
    return FALSE;
}

static void watch_scrolling() {
    GtkEventController *wheel = gtk_event_controller_scroll_new(GTK_EVENT_CONTROLLER_SCROLL_VERTICAL);
    GtkEventController *keys = gtk_event_controller_key_new();
    g_signal_connect(wheel, "scroll", G_CALLBACK(scrolled_by_wheel), nullptr);
    g_signal_connect(keys, "key-pressed", G_CALLBACK(moved_by_key), nullptr);
    gtk_event_controller_set_propagation_phase(wheel, GTK_PHASE_CAPTURE);
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    gtk_widget_add_controller(GTK_WIDGET(view), wheel);
    gtk_widget_add_controller(GTK_WIDGET(view), keys);
}

static void append(const std::string &text, const char *tag) {
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(buffer, &end);
    gtk_text_buffer_insert_with_tags_by_name(buffer, &end, text.data(), static_cast<int>(text.size()), tag, nullptr);
}

static void remove_open_line() {
    GtkTextIter start, end;
    gtk_text_buffer_get_iter_at_mark(buffer, &start, open_line);
    gtk_text_buffer_get_end_iter(buffer, &end);
    gtk_text_buffer_delete(buffer, &start, &end);
}

static void append_lines(const std::deque<OutputLine> &lines) {
    std::string plain;
    for (const OutputLine &line : lines) {
        if (!line.isMarked) {
            plain += line.text + "\n";
            continue;
        }
        append(plain, nullptr);
        plain.clear();
        append(line.text + "\n", "marked");
    }
    append(plain, nullptr);
}

static void append_open_line() {
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(buffer, &end);
    gtk_text_buffer_move_mark(buffer, open_line, &end);
    append(pending.open(), nullptr);
}

static void cut_oldest() {
    const int over = gtk_text_buffer_get_line_count(buffer) - 1 - static_cast<int>(OutputText::most_lines);
    if (over > 0) {
        GtkTextIter start, end;
        gtk_text_buffer_get_start_iter(buffer, &start);
        gtk_text_buffer_get_iter_at_line(buffer, &end, over);
        gtk_text_buffer_delete(buffer, &start, &end);
        cut_lines += static_cast<size_t>(over);
    }
    const size_t cut = cut_lines + pending.cut();
    if (cut == 0) return;
    char text[256];
    g_snprintf(text, sizeof text,
               catalogue_plural("%lu line at the beginning is not shown here any more.",
                                "%lu lines at the beginning are not shown here any more.", cut),
               static_cast<unsigned long>(cut));
    gtk_label_set_text(GTK_LABEL(cut_note), text);
    gtk_widget_set_visible(cut_note, TRUE);
}

// The lines have got their heights.
static void scroll_to_end(GtkAdjustment *position, gpointer) {
    if (follows)
        gtk_adjustment_set_value(position, gtk_adjustment_get_upper(position) - gtk_adjustment_get_page_size(position));
}

static gboolean show_batch(gpointer) {
    remove_open_line();
    append_lines(pending.take(batch_lines));
    append_open_line();
    cut_oldest();
    if (pending.hasLines()) return G_SOURCE_CONTINUE;
    batch = 0;
    return G_SOURCE_REMOVE;
}

static void show_soon() {
    if (batch == 0) batch = g_timeout_add(batch_milliseconds, show_batch, nullptr);
}

GtkWidget *output_view_new(const char *label) {
    constexpr int spacing = 6, margin = 6, width = 560, height = 220;
    view = GTK_TEXT_VIEW(gtk_text_view_new());
    buffer = gtk_text_view_get_buffer(view);
    gtk_text_buffer_set_enable_undo(buffer, FALSE);
    const GdkRGBA colour = style_problem_colour(GTK_WIDGET(view));
    gtk_text_buffer_create_tag(buffer, "marked", "weight", PANGO_WEIGHT_BOLD, "foreground-rgba", &colour, nullptr);
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(buffer, &end);
    open_line = gtk_text_buffer_create_mark(buffer, nullptr, &end, TRUE);
    gtk_text_view_set_editable(view, FALSE);
    gtk_text_view_set_monospace(view, TRUE);
    gtk_text_view_set_wrap_mode(view, GTK_WRAP_WORD_CHAR);
    gtk_text_view_set_left_margin(view, margin);
    gtk_text_view_set_right_margin(view, margin);
    gtk_text_view_set_accepts_tab(view, FALSE);
    gtk_accessible_update_property(GTK_ACCESSIBLE(view), GTK_ACCESSIBLE_PROPERTY_LABEL, label, -1);

    watch_scrolling();
    GtkWidget *scrolled = gtk_scrolled_window_new();
    gtk_scrolled_window_set_has_frame(GTK_SCROLLED_WINDOW(scrolled), TRUE);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), GTK_WIDGET(view));
    g_signal_connect(gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scrolled)), "changed",
                     G_CALLBACK(scroll_to_end), nullptr);
    gtk_widget_set_vexpand(scrolled, TRUE);
    gtk_widget_set_size_request(scrolled, width, height);
    cut_note = gtk_label_new("");
    gtk_label_set_xalign(GTK_LABEL(cut_note), 0);
    gtk_widget_add_css_class(cut_note, "qrt-caption");
    gtk_widget_set_visible(cut_note, FALSE);
    GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    gtk_box_append(GTK_BOX(box), cut_note);
    gtk_box_append(GTK_BOX(box), scrolled);
    return box;
}

void output_view_add(std::string_view text) {
    pending.add(text);
    show_soon();
}

void output_view_add_marked(std::string_view line) {
    pending.addMarked(line);
    show_soon();
}

std::string output_view_text() {
    while (pending.hasLines()) show_batch(nullptr);
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(buffer, &start, &end);
    char *text = gtk_text_buffer_get_text(buffer, &start, &end, FALSE);
    std::string copy = text;
    g_free(text);
    return copy;
}
