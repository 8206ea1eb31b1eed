// Stream attributes, read like files.
#include <algorithm>
#include <cstring>

#include "platform/client/interface/boundary.h"
#include "platform/client/session/contexts.h"

namespace {

struct Stream {
    EntryPtr entry; // keeps the text alive
    const std::string *text;
    size_t at;
};

} // namespace

static HandleTable<Stream> &streams() {
    static HandleTable<Stream> open(ZKE_BAD_HANDLE);
    return open;
}

uint32_t ZKDSOpenStream(uint32_t context, const char *object, const char *attribute, uint32_t flags, uint32_t *file) {
    return guarded([&] {
        error_unless(object != nullptr && attribute != nullptr && file != nullptr && flags == 0, ZKE_BAD_PARAMETER);
        const EntryPtr entry = context_read(&contexts().at(context), object);
        const SchemaAttribute *row = schema_find(attribute);
        error_unless(row != nullptr, ZKE_NO_SUCH_ATTRIBUTE);
        error_unless(row->syntax == schema_stream, ZKE_BAD_PARAMETER);
        const std::string *text = entry->first(row->ldap);
        error_unless(text != nullptr, ZKE_NO_SUCH_VALUE);
        *file = streams().open({entry, text, 0});
    });
}

uint32_t ZKReadFile(uint32_t file, uint32_t count, uint32_t *bytesRead, void *data) {
    return guarded([&] {
        Stream &stream = streams().at(file);
        error_unless(bytesRead != nullptr && data != nullptr, ZKE_BAD_PARAMETER);
        size_t length = std::min<size_t>(count, stream.text->size() - stream.at);
        memcpy(data, stream.text->data() + stream.at, length);
        stream.at += length;
        *bytesRead = static_cast<uint32_t>(length);
    });
}

uint32_t ZKCloseFile(uint32_t file) {
    return guarded([&] { streams().close(file); });
}
