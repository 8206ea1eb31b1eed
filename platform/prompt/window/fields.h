// The parts that windows are built of: texts, labelled fields, buttons. Each has its name and role for screen readers,
// and what explains or refuses an input is tied to it.
#ifndef PLATFORM_PROMPT_WINDOW_FIELDS_H
#define PLATFORM_PROMPT_WINDOW_FIELDS_H

#include <gtk/gtk.h>
#include <string>
#include <string_view>

// Texts, wrapped and never read as markup. A heading is cut after some lines, a text that is long scrolls.
GtkWidget *field_heading(const std::string &text);
GtkWidget *field_text(const std::string &text);
GtkWidget *field_long_text(const std::string &text);
GtkWidget *field_caption(const std::string &text);

// A grid for labelled fields, and one more row of it: `label` (its "_" marks the key for the field) names the field.
GtkWidget *field_grid();
void field_add(GtkWidget *grid, int row, const char *label, GtkWidget *field);

// An entry for a line of text.
GtkWidget *field_entry(const std::string &text);

// An entry for a password, with a hint below it while Caps Lock is on, and a button that shows what is typed. Screen
// readers are told that there is an entry, and nothing of its text even when it is shown.
struct PasswordField {
    GtkWidget *entry; // for what has to do with the widget; it has no text for anybody
    GtkText *text;    // its inside
    GtkWidget *below; // the hint and the button
};
PasswordField field_password();
// What is typed, in locked memory, up to the next change.
const char *field_password_text(const PasswordField &field);
// Wipes it.
void field_password_forget(const PasswordField &field);

// A line below fields that says what is wrong with one. It is not there until field_mark_error.
GtkWidget *field_problem();
void field_mark_error(GtkWidget *field, GtkWidget *problem, const std::string &text);
void field_clear_error(GtkWidget *field, GtkWidget *problem);

// The row of buttons at the end of a window; `label` has a "_" before the letter of its key.
GtkWidget *field_buttons();
void field_button_label(GtkWidget *button, const char *label); // another one
GtkWidget *field_button(GtkWidget *buttons, const char *label, GCallback pressed, gpointer data);
// Marks the button that the Enter key presses. (What it presses is up to the focus.)
void field_mark_default(GtkWidget *button);

// Says what a window is about, for when a screen reader enters it.
void field_describes(GtkWidget *text, GtkWidget *window);

#endif
