// Request and reply buffers: what is asked for, and what has come back and is being taken out.
#ifndef PLATFORM_CLIENT_INTERFACE_BUFFERS_H
#define PLATFORM_CLIENT_INTERFACE_BUFFERS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/client/core/schema.h"
#include "platform/client/core/values.h"

struct ReplyAttribute {
    const SchemaAttribute *attribute;
    std::vector<Value> values; // names put into form
};

struct ReadAnswer; // all that one read is answered with

struct ZKDSBuffer {
    size_t size; // as allocated: what a request or one reply may take
    bool initialised = false;
    size_t used = 0;
    std::vector<std::string> names; // of a request
    std::vector<ReplyAttribute> attributes;
    size_t nextAttribute = 0;
    size_t nextValue = 0;                     // of the attribute before nextAttribute
    std::shared_ptr<const ReadAnswer> answer; // of a read that goes on: what further replies are taken from
};

// Is it a buffer that has been allocated and not yet freed?
bool buffer_is_open(const ZKDSBuffer *buffer);

// Empties a reply and fills it with what comes next of `attributes`: `*iteration` (-1 at the start) counts what earlier
// replies took, and becomes -1 with the last. Throws CodedError: ZKE_BUFFER_TOO_SMALL when a single value does not fit
// the buffer, ZKE_BAD_PARAMETER for an iteration that is none.
void buffer_fill(ZKDSBuffer *reply, const std::vector<ReplyAttribute> &attributes, int32_t *iteration);

#endif
