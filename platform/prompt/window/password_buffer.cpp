#include "platform/prompt/window/password_buffer.h"

#include <algorithm>
#include <cstring>

#include "platform/common/secret.h"
#include "platform/prompt/window_message.h"

static constexpr size_t capacity = 4 * window_name_limit;

namespace {

struct PasswordBuffer {
    GtkEntryBuffer parent;
    Secret *secret;
    size_t bytes;
    guint characters;
};

struct PasswordBufferClass {
    GtkEntryBufferClass parent;
};

} // namespace

G_DEFINE_TYPE(PasswordBuffer, password_buffer, GTK_TYPE_ENTRY_BUFFER)

static PasswordBuffer *of(GtkEntryBuffer *buffer) {
    return reinterpret_cast<PasswordBuffer *>(buffer);
}

static size_t offset_of(const PasswordBuffer *own, guint position) {
    const char *text = own->secret->text();
    return static_cast<size_t>(g_utf8_offset_to_pointer(text, static_cast<glong>(position)) - text);
}

static const char *get_text(GtkEntryBuffer *buffer, gsize *bytes) {
    if (bytes != nullptr) *bytes = of(buffer)->bytes;
    return of(buffer)->secret->text();
}

static guint get_length(GtkEntryBuffer *buffer) {
    return of(buffer)->characters;
}

// Of what does not fit in the characters that do are taken.
static guint insert_text(GtkEntryBuffer *buffer, guint position, const char *text, guint characters) {
    PasswordBuffer *own = of(buffer);
    const auto sizeOf = [text](guint count) {
        return static_cast<size_t>(g_utf8_offset_to_pointer(text, static_cast<glong>(count)) - text);
    };
    while (characters > 0 && sizeOf(characters) > capacity - own->bytes) --characters;
    if (characters == 0) return 0;
    const size_t size = sizeOf(characters), at = offset_of(own, position);
    char *place = own->secret->text() + at;
    memmove(place + size, place, own->bytes - at + 1);
    memcpy(place, text, size);
    own->bytes += size;
    own->characters += characters;
    gtk_entry_buffer_emit_inserted_text(buffer, position, text, characters);
    return characters;
}

// The deletion itself comes after those who listen to it.
static guint delete_text(GtkEntryBuffer *buffer, guint position, guint characters) {
    const guint length = of(buffer)->characters;
    position = std::min(position, length);
    characters = std::min(characters, length - position);
    if (characters > 0) gtk_entry_buffer_emit_deleted_text(buffer, position, characters);
    return characters;
}

static void deleted_text(GtkEntryBuffer *buffer, guint position, guint characters) {
    PasswordBuffer *own = of(buffer);
    const size_t from = offset_of(own, position), to = offset_of(own, position + characters);
    char *text = own->secret->text();
    memmove(text + from, text + to, own->bytes - to + 1);
    own->bytes -= to - from;
    own->characters -= characters;
    explicit_bzero(text + own->bytes, to - from);
    g_object_notify(G_OBJECT(buffer), "text");
    g_object_notify(G_OBJECT(buffer), "length");
}

static void finalize(GObject *object) {
    delete reinterpret_cast<PasswordBuffer *>(object)->secret;
    G_OBJECT_CLASS(password_buffer_parent_class)->finalize(object);
}

static void password_buffer_init(PasswordBuffer *own) {
    own->secret = new Secret(capacity);
    own->bytes = 0;
    own->characters = 0;
}

static void password_buffer_class_init(PasswordBufferClass *own) {
    own->parent.get_text = get_text;
    own->parent.get_length = get_length;
    own->parent.insert_text = insert_text;
    own->parent.delete_text = delete_text;
    own->parent.deleted_text = deleted_text;
    own->parent.parent_class.finalize = finalize;
}

GtkEntryBuffer *password_buffer_new() {
    return reinterpret_cast<GtkEntryBuffer *>(g_object_new(password_buffer_get_type(), nullptr));
}
