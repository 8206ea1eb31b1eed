#include "tools/qrtlogin/window/run_page.h"

#include <array>
#include <cstring>
#include <string>

#include "platform/catalogue.h"
#include "platform/prompt/window/fields.h"
#include "platform/prompt/window/safe_text.h"
#include "tools/qrtlogin/window/output_view.h"
#include "tools/qrtlogin/window/talk.h"

namespace {

enum class StepState { waiting, running, done, none };

// One of the three scripts.
struct Step {
    char script;
    StepState state;
    unsigned complaints;
    GtkWidget *object, *text;
};

struct RunPage {
    LoginRecord *record;
    void (*close)();
    GtkWidget *heading, *reason, *steps, *now, *elapsed, *stack, *switcher, *summary, *buttons, *copy, *cancel;
    gint64 begun;
    guint clock;
};

} // namespace

static std::array<Step, 3> steps = {{{'c', StepState::waiting, 0, nullptr, nullptr},
                                     {'p', StepState::waiting, 0, nullptr, nullptr},
                                     {'u', StepState::waiting, 0, nullptr, nullptr}}};

static RunPage page;

// An empty one would be read aloud by the name of its kind.
static void label_set(GtkWidget *label, const std::string &text) {
    gtk_label_set_text(GTK_LABEL(label), text.c_str());
    gtk_widget_set_visible(label, !text.empty());
}

// ---- the three scripts ----

static std::string step_text(const Step &step) {
    switch (step.state) {
        case StepState::waiting:
            return catalogue_text("not run yet");
        case StepState::running:
            return catalogue_text("is running");
        case StepState::none:
            return catalogue_text("was not run");
        case StepState::done:
            break;
    }
    if (step.complaints == 0) return catalogue_text("has run");
    char text[256];
    g_snprintf(text, sizeof text,
               catalogue_plural("has run, with %lu mistake", "has run, with %lu mistakes", step.complaints),
               static_cast<unsigned long>(step.complaints));
    return text;
}

static void step_set(Step *step, StepState state) {
    step->state = state;
    gtk_label_set_text(GTK_LABEL(step->text), step_text(*step).c_str());
    if (state == StepState::running)
        gtk_widget_add_css_class(step->text, "qrt-hint");
    else
        gtk_widget_remove_css_class(step->text, "qrt-hint");
    if (step->complaints > 0 && state == StepState::done) gtk_widget_add_css_class(step->text, "qrt-problem");
}

static GtkWidget *steps_new() {
    constexpr int row_spacing = 4, column_spacing = 18;
    GtkWidget *grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), row_spacing);
    gtk_grid_set_column_spacing(GTK_GRID(grid), column_spacing);
    int row = 0;
    for (Step &step : steps) {
        GtkWidget *name = gtk_label_new(record_script_name(step.script).c_str());
        step.text = gtk_label_new("");
        step.object = gtk_label_new("");
        gtk_label_set_ellipsize(GTK_LABEL(step.object), PANGO_ELLIPSIZE_END);
        gtk_widget_add_css_class(step.object, "qrt-caption");
        int column = 0;
        for (GtkWidget *label : {name, step.text, step.object}) {
            gtk_label_set_xalign(GTK_LABEL(label), 0);
            gtk_grid_attach(GTK_GRID(grid), label, column++, row, 1, 1);
        }
        gtk_widget_set_hexpand(step.object, TRUE);
        label_set(step.object, "");
        step_set(&step, StepState::waiting);
        ++row;
    }
    return grid;
}

// Those before it have run, or there are none.
static void step_begin(char script, std::string_view object) {
    for (Step &step : steps) {
        if (step.script == script) {
            step_set(&step, StepState::running);
            label_set(step.object, object.empty() ? "" : window_safe_name(object));
            return;
        }
        step_set(&step,
                 step.state == StepState::waiting || step.state == StepState::none ? StepState::none : StepState::done);
    }
}

static void steps_end(bool isWhole) {
    for (Step &step : steps) {
        if (step.state == StepState::running) step_set(&step, StepState::done);
        if (step.state == StepState::waiting && isWhole) step_set(&step, StepState::none);
    }
}

static void step_complains(char script) {
    for (Step &step : steps)
        if (step.script == script) {
            ++step.complaints;
            step_set(&step, step.state);
        }
}

// ---- the time ----

static gboolean show_elapsed(gpointer) {
    const auto seconds = static_cast<unsigned long>((g_get_monotonic_time() - page.begun) / G_USEC_PER_SEC);
    char time[64];
    g_snprintf(time, sizeof time, "%lu:%02lu", seconds / 60, seconds % 60);
    gtk_label_set_text(GTK_LABEL(page.elapsed), catalogue_format("Elapsed: %s", time).c_str());
    return G_SOURCE_CONTINUE;
}

// ---- what is pressed ----

static void press_cancel(GtkWidget *button, gpointer) {
    if (page.record->outcome != LoginOutcome::none) return page.close();
    gtk_widget_set_sensitive(button, FALSE);
    label_set(page.now, catalogue_text("The scripts are being ended ..."));
    talk_cancel();
}

static std::string time_now() {
    GDateTime *now = g_date_time_new_now_local();
    char *text = g_date_time_format(now, "%Y-%m-%d %H:%M:%S %Z");
    std::string copy = text != nullptr ? text : "";
    g_free(text);
    g_date_time_unref(now);
    return copy;
}

static void press_copy(GtkWidget *button, gpointer) {
    const std::string report = record_report(*page.record, time_now(), output_view_text());
    gdk_clipboard_set_text(gtk_widget_get_clipboard(button), report.c_str());
    label_set(page.now, catalogue_text("The report has been copied."));
}

// ---- the page ----

static GtkWidget *scrolled_new(GtkWidget *child) {
    GtkWidget *scrolled = gtk_scrolled_window_new();
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), child);
    gtk_widget_set_vexpand(scrolled, TRUE);
    return scrolled;
}

static GtkWidget *stack_new() {
    constexpr int spacing = 6;
    page.summary = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    page.stack = gtk_stack_new();
    gtk_stack_add_titled(GTK_STACK(page.stack), output_view_new(catalogue_text("Output of the scripts")), "output",
                         catalogue_text("Output"));
    gtk_widget_set_vexpand(page.stack, TRUE);
    page.switcher = gtk_stack_switcher_new();
    gtk_widget_set_halign(page.switcher, GTK_ALIGN_START);
    gtk_stack_switcher_set_stack(GTK_STACK_SWITCHER(page.switcher), GTK_STACK(page.stack));
    gtk_widget_set_visible(page.switcher, FALSE);
    return page.stack;
}

static GtkWidget *now_new() {
    constexpr int spacing = 12;
    page.now = gtk_label_new("");
    gtk_label_set_xalign(GTK_LABEL(page.now), 0);
    gtk_label_set_ellipsize(GTK_LABEL(page.now), PANGO_ELLIPSIZE_END);
    gtk_widget_set_hexpand(page.now, TRUE);
    label_set(page.now, "");
    page.elapsed = gtk_label_new("");
    gtk_widget_set_halign(page.elapsed, GTK_ALIGN_END);
    gtk_widget_set_hexpand(page.elapsed, TRUE);
    for (GtkWidget *label : {page.now, page.elapsed}) gtk_widget_add_css_class(label, "qrt-caption");
    GtkWidget *row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, spacing);
    gtk_box_append(GTK_BOX(row), page.now);
    gtk_box_append(GTK_BOX(row), page.elapsed);
    return row;
}

GtkWidget *run_page_new(LoginRecord *record, void (*close)()) {
    constexpr int spacing = 12;
    page.record = record;
    page.close = close;
    page.heading = field_heading(record->heading());
    page.reason = field_problem();
    gtk_label_set_selectable(GTK_LABEL(page.reason), TRUE);
    page.steps = steps_new();
    page.buttons = field_buttons();
    page.copy = field_button(page.buttons, catalogue_text("Copy _report"), G_CALLBACK(press_copy), nullptr);
    page.cancel = field_button(page.buttons, catalogue_text("_Cancel"), G_CALLBACK(press_cancel), nullptr);
    gtk_widget_set_visible(page.copy, FALSE);
    GtkWidget *stack = stack_new();
    GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    for (GtkWidget *part : {page.heading, page.reason, page.steps, now_new(), page.switcher, stack, page.buttons})
        gtk_box_append(GTK_BOX(box), part);
    page.begun = g_get_monotonic_time();
    page.clock = g_timeout_add_seconds(1, show_elapsed, nullptr);
    return box;
}

void run_page_begin() {
    gtk_label_set_text(GTK_LABEL(page.heading), page.record->heading().c_str());
    page.begun = g_get_monotonic_time();
    show_elapsed(nullptr);
}

static void show_now(const LoginMessage &message) {
    const std::string where = window_safe_text(message.fields[0]), text = window_safe_text(message.fields[1]);
    label_set(page.now, where.empty() ? text : catalogue_format("%1$s: %2$s", where.c_str(), text.c_str()));
}

void run_page_take(const LoginMessage &message) {
    switch (message.kind) {
        case 's':
            return step_begin(message.fields[0][0], message.fields[1]);
        case 'n':
            return show_now(message);
        case 'o':
            return output_view_add(message.fields[0]);
        case 'w':
            return output_view_add_marked(message.fields[0]);
        case 'm':
        case 'p':
            output_view_add_marked(page.record->note(message));
            return step_complains(message.fields[0][0]);
        default:
            page.record->note(message);
    }
}

// ---- the end ----

static GtkWidget *line_new(const std::string &text) {
    GtkWidget *label = gtk_label_new(text.c_str());
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
    gtk_label_set_selectable(GTK_LABEL(label), TRUE);
    gtk_label_set_xalign(GTK_LABEL(label), 0);
    return label;
}

static void add_section(const RecordSection &section, bool isBad) {
    if (section.lines.empty()) return;
    GtkWidget *title = line_new(section.title);
    gtk_label_set_selectable(GTK_LABEL(title), FALSE);
    gtk_widget_add_css_class(title, isBad ? "qrt-problem" : "qrt-title");
    gtk_box_append(GTK_BOX(page.summary), title);
    for (const std::string &line : section.lines) gtk_box_append(GTK_BOX(page.summary), line_new(line));
    if (section.more > 0)
        gtk_box_append(GTK_BOX(page.summary),
                       line_new(catalogue_format("... and %lu more", static_cast<unsigned long>(section.more))));
}

static void summary_show() {
    add_section(page.record->mistakes, true);
    add_section(page.record->programs, true);
    add_section(page.record->drives, false);
    add_section(page.record->variables, false);
    if (gtk_widget_get_first_child(page.summary) == nullptr)
        gtk_box_append(GTK_BOX(page.summary), line_new(catalogue_text("No drives were mapped and no variables set.")));
    gtk_stack_add_titled(GTK_STACK(page.stack), scrolled_new(page.summary), "summary", catalogue_text("Summary"));
    gtk_widget_set_visible(page.switcher, TRUE);
    gtk_stack_set_visible_child_name(GTK_STACK(page.stack), "summary");
}

void run_page_end() {
    g_source_remove(page.clock);
    show_elapsed(nullptr);
    const LoginOutcome outcome = page.record->outcome;
    steps_end(outcome == LoginOutcome::clean || outcome == LoginOutcome::mistakes);
    gtk_label_set_text(GTK_LABEL(page.heading), page.record->heading().c_str());
    label_set(page.reason, page.record->reason);
    label_set(page.now, "");
    gtk_widget_set_visible(page.copy, TRUE);
    field_button_label(page.cancel, catalogue_text("_Close"));
    gtk_widget_set_sensitive(page.cancel, TRUE);
    summary_show();
    gtk_widget_grab_focus(page.cancel);
}

GtkWidget *run_page_button() {
    return page.cancel;
}
