#include "directory/session.h"

#include <atomic>
#include <new>
#include <string>

#include "base/output.h"
#include "base/text.h"
#include "platform/treelogin.h"
#include "platform/zk.h"

char *CurrentContext = nullptr;
char *InitialContext = nullptr;
char *CurrentObject = nullptr;
char *LoginName = nullptr;
char *CurrentTree = nullptr;
char *CurrentPassword = nullptr;
char *uservars[QRT_USER_VARIABLES] = {};
char *objname = nullptr;
uint32_t ctx = 0;
bool session_context_taken = false;
char LoginAliasContext[2] = "N";
int32_t g_useGUI = 0;
char *over_ride_profile = nullptr;
int32_t use_default_script = 0;
uint8_t bcntrlc = 0;
uint8_t attachedCount = 0;
char libtreeloginLocation[40] = "/opt/brasca/lib64/libtreelogin.so";
char hostResName[19] = "Host Resource Name";
char pathStr[5] = "Path";

char *session_replace(char *&global, const char *value) {
    // The copy comes first: the value may be the global's own text.
    OwnedText copy = text_copy_or_null(value);
    free(global);
    global = copy.release();
    return global;
}

// At no time does the global point to text that has been freed: the interrupt handler wipes what it points to.
void session_set_password(const char *password) {
    OwnedText text = text_copy_or_null(password);
    const SecretText old(CurrentPassword);
    CurrentPassword = text.release();
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void session_take_context(uint32_t handle) {
    ZKDSFreeContext(ctx);
    ctx = handle;
    session_context_taken = true;
}

void session_clear() {
    for (char **global :
         {&CurrentContext, &CurrentObject, &CurrentTree, &InitialContext, &LoginName, &over_ride_profile}) {
        free(*global);
        *global = nullptr;
    }
    for (char *&variable : uservars) {
        free(variable);
        variable = nullptr;
    }
}

char *qrt_GetCurrentContext() {
    return CurrentContext;
}

char *qrt_GetInitialContext() {
    return InitialContext;
}

char *qrt_GetObject() {
    return CurrentObject;
}

char *qrt_GetCurrentTree() {
    TRACE(qrt_GetCurrentTree, 7, "qrt_GetCurrentTree returned (%s)", CurrentTree ? CurrentTree : "");
    return CurrentTree;
}

char *qrt_GetServer() try { return text_copy_or_null(uservars[0]).release(); } catch (const std::bad_alloc &) {
    return nullptr;
}

char *qrt_SetCurrentObject(const char *name) try {
    TRACE(qrt_SetCurrentObject, 7, "entering qrt_SetCurrentObject(%s)", name ? name : "");
    return session_replace(CurrentObject, name);
} catch (const std::bad_alloc &) {
    return nullptr;
}

char *qrt_SetLoginName(const char *name) try {
    TRACE(qrt_SetLoginName, 7, "entering qrt_SetLoginName(%s)", name ? name : "");
    return session_replace(LoginName, name);
} catch (const std::bad_alloc &) {
    return nullptr;
}

// The previous value is required to stay allocated: a caller may still hold the pointer that the getter lent it.
char *qrt_SetInitialContext(const char *context) try {
    TRACE(qrt_SetInitialContext, 7, "entering qrt_SetInitialContext(%s)", context ? context : "");
    InitialContext = text_copy_or_null(context).release();
    return InitialContext;
} catch (const std::bad_alloc &) {
    return nullptr;
}

int qrt_SetCurrentContext(char *context) try {
    if (!context) return 0;
    TRACE(qrt_SetCurrentContext, 7, "entering qrt_SetCurrentContext(%s)", context);
    std::string stored = context;
    if (!stored.empty() && stored[0] != '.') stored.insert(0, ".");
    session_replace(CurrentContext, stored.c_str());
    return say("Your current context is: %s\n", stored.empty() ? "" : stored.c_str() + 1);
} catch (const std::bad_alloc &) {
    return EOF;
}

void qrt_SetUserVar(int index, const char *value) try {
    if (static_cast<unsigned>(index) >= QRT_USER_VARIABLES) return;
    session_replace(uservars[index], value);
    if (value) TRACE(qrt_SetUserVar, 5, "uservars:%i,  %s", index, uservars[index]);
} catch (const std::bad_alloc &) {
}

// One place of the rotation. Only %2 to %7 move and only %9 takes part besides: %8 stays, what was in %9 is lost, %7
// keeps its value so that %6 and %7 read the same afterwards. Scripts depend on this narrow rotation: required.
static void shift_once() {
    free(uservars[9]);
    uservars[9] = uservars[2];
    for (int i = 2; i < 6; i++) uservars[i] = uservars[i + 1];
    uservars[6] = text_copy_or_null(uservars[7]).release();
}

void qrt_ShiftVars(int count) try {
    if (count < 0) count += 8;
    // After six places nothing but copies of %7 is left in %2 to %6; after seven in %9 too.
    if (count > 7) count = 7;
    for (int i = 0; i < count; i++) shift_once();
} catch (const std::bad_alloc &) {
    uservars[6] = nullptr;
}

static char *object_in(TracedFunction function, const char *context) try {
    if (!CurrentObject) return nullptr;
    OwnedText name = text_copy(std::string(CurrentObject) + (context ? context : ""));
    TRACE_FOR(function, 5, "qrt_Object: %s", name.get());
    return name.release();
} catch (const std::bad_alloc &) {
    return nullptr;
}

char *qrt_Object() {
    return object_in(TRACED(qrt_Object), CurrentContext);
}

char *qrt_LoggedInObject() {
    return object_in(TRACED(qrt_LoggedInObject), InitialContext);
}

int qrt_getPauseResponse() {
    return g_useGUI ? auxpause_script() : 0;
}

uint32_t qrt_CheckIfLoggedIn(uint32_t handle) {
    return ZKDSCanDSAuthenticate(handle);
}

int qrt_abbrivateName(const char *in, char *out, int maxLen) {
    if (!out) return 0;
    out[0] = '\0';
    if (maxLen <= 0 || !in || !*in) return 0;
    int copied = 0;
    int i = 0;
    const int length = static_cast<int>(std::char_traits<char>::length(in));
    auto at = [&](int position) { return position < length ? in[position] : '\0'; };
    while (i < maxLen && at(i)) {
        const char c = in[i];
        out[copied++] = c;
        if (c == '.' && i + 3 < maxLen) {
            // The second look starts where the first one left off: after a one-letter type it reads three places on
            // from the "=", so that ".O=ab=c" loses "ab=" as well. Required: names that compare equal depend on it.
            if (at(i + 2) == '=') i += 2;
            if (at(i + 3) == '=') i += 3;
        }
        i++;
    }
    out[copied] = '\0';
    return copied;
}
