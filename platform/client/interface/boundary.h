// The edge of the client: every exported function runs its body in `guarded`, so that no exception leaves the client.
#ifndef PLATFORM_CLIENT_INTERFACE_BOUNDARY_H
#define PLATFORM_CLIENT_INTERFACE_BOUNDARY_H

#include <cstdint>
#include <exception>
#include <new>

#include "platform/client/core/errors.h"
#include "platform/zk.h"

// Runs `body`: ZK_OK, or what it throws as a code. A CodedError has its own, and its sentence, if it has one, becomes
// the last error text; memory that runs out is ZKE_NO_MEMORY without a text.
template <typename Body>
uint32_t guarded(Body body) noexcept {
    try {
        body();
        return ZK_OK;
    } catch (const std::bad_alloc &) {
        error_keep("");
        return ZKE_NO_MEMORY;
    } catch (const CodedError &error) {
        if (*error.what() != '\0') error_keep(error.what());
        return error.code;
    } catch (const std::exception &error) {
        error_keep(error.what());
        return ZKE_BAD_DIRECTORY_DATA;
    } catch (...) {
        return ZKE_BAD_DIRECTORY_DATA;
    }
}

#endif
