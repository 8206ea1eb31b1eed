// The edge of the library. Whatever needs memory and finds none throws std::bad_alloc; an exported function runs its
// core in here, so that no exception reaches the caller.
#ifndef BASE_GUARD_H
#define BASE_GUARD_H

#include <new>
#include <type_traits>
#include <utility>

#include "base/text.h"

// What `body` returns. When memory runs out in it, `without_memory`, which may be a function: it is called then.
template <typename Fallback, typename Body>
auto guarded(Fallback withoutMemory, Body body) -> decltype(body()) {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        if constexpr (std::is_invocable_v<Fallback>)
            return withoutMemory();
        else
            return withoutMemory;
    }
}

// The text that `body` returns, if any, as new heap text; null for none, and when memory runs out.
template <typename Body>
char *guarded_text(Body body) {
    return guarded(
        nullptr, [&]() -> char * { return text_copy_or_null(std::optional<std::string>(body())).release(); });
}

#endif
