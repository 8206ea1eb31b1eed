// Stream attributes, read like files.
#include <algorithm>
#include <cstring>
#include <map>

#include "platform/client/interface/boundary.h"
#include "platform/client/interface/contexts.h"

namespace {

struct Stream {
    EntryPtr entry; // keeps the text alive
    const std::string *text;
    size_t at;
};

struct Table {
    std::map<uint32_t, Stream> open;
    uint32_t lastHandle = 0;
};

Table &table() {
    static Table the_table;
    return the_table;
}

} // namespace

uint32_t ZKDSOpenStream(uint32_t context, const char *object, const char *attribute, uint32_t flags, uint32_t *file) {
    return guarded([&]() -> uint32_t {
        if (object == nullptr || attribute == nullptr || file == nullptr || flags != 0) {
            return ZKE_BAD_PARAMETER;
        }
        Context *found = nullptr;
        Tree *tree = nullptr;
        EntryPtr entry;
        uint32_t code = context_tree(context, &found, &tree);
        if (code == ZK_OK) {
            code = context_find_entry(*found, *tree, object, &entry);
        }
        if (code != ZK_OK) {
            return code;
        }
        context_note_read(found, tree);
        const SchemaAttribute *row = schema_find(attribute);
        if (row == nullptr || row->syntax != schema_stream) {
            return row == nullptr ? ZKE_NO_SUCH_ATTRIBUTE : ZKE_BAD_PARAMETER;
        }
        const std::string *text = entry->first(row->ldap);
        if (text == nullptr) {
            return ZKE_NO_SUCH_VALUE;
        }
        table().open.emplace(table().lastHandle + 1, Stream{entry, text, 0});
        *file = ++table().lastHandle;
        return ZK_OK;
    });
}

uint32_t ZKReadFile(uint32_t file, uint32_t count, uint32_t *bytesRead, void *data) {
    return guarded([&]() -> uint32_t {
        auto found = table().open.find(file);
        if (bytesRead == nullptr || data == nullptr || found == table().open.end()) {
            return found == table().open.end() ? ZKE_BAD_HANDLE : ZKE_BAD_PARAMETER;
        }
        Stream &stream = found->second;
        size_t length = std::min<size_t>(count, stream.text->size() - stream.at);
        memcpy(data, stream.text->data() + stream.at, length);
        stream.at += length;
        *bytesRead = static_cast<uint32_t>(length);
        return ZK_OK;
    });
}

uint32_t ZKCloseFile(uint32_t file) {
    return guarded([&]() -> uint32_t { return table().open.erase(file) == 1 ? ZK_OK : ZKE_BAD_HANDLE; });
}
