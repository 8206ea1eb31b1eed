#include "directory/session.h"

#include <atomic>

#include "base/text.h"
#include "platform/treelogin.h"
#include "platform/zk.h"
#include "qrtscript.h"

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

void session_replace(char *&global, const char *value) {
    // The copy comes first: the value may be the global's own text.
    OwnedText copy = text_copy_or_null(value);
    free(global);
    global = copy.release();
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

const char *session_tree() {
    TRACE(qrt_GetCurrentTree, 7, "qrt_GetCurrentTree returned (%s)", CurrentTree ? CurrentTree : "");
    return CurrentTree;
}

void session_set_object(const char *name) {
    TRACE(qrt_SetCurrentObject, 7, "entering qrt_SetCurrentObject(%s)", name ? name : "");
    session_replace(CurrentObject, name);
}

void session_set_login_name(const char *name) {
    TRACE(qrt_SetLoginName, 7, "entering qrt_SetLoginName(%s)", name ? name : "");
    session_replace(LoginName, name);
}

// The previous value is required to stay allocated: a caller may still hold the pointer that the getter lent it.
void session_set_initial_context(const char *context) {
    TRACE(qrt_SetInitialContext, 7, "entering qrt_SetInitialContext(%s)", context ? context : "");
    InitialContext = text_copy_or_null(context).release();
}

int session_set_context(std::string context) {
    TRACE(qrt_SetCurrentContext, 7, "entering qrt_SetCurrentContext(%s)", context.c_str());
    if (!context.empty() && context[0] != '.') context.insert(0, ".");
    session_replace(CurrentContext, context.c_str());
    return say("Your current context is: %s\n", context.empty() ? "" : context.c_str() + 1);
}

void session_set_variable(int index, const char *value) {
    if (static_cast<unsigned>(index) >= QRT_USER_VARIABLES) return;
    session_replace(uservars[index], value);
    if (value != nullptr) TRACE(qrt_SetUserVar, 5, "uservars:%i,  %s", index, uservars[index]);
}

// One place of the rotation. Only %2 to %7 move and only %9 takes part besides: %8 stays, what was in %9 is lost, %7
// keeps its value so that %6 and %7 read the same afterwards. Scripts depend on this narrow rotation: required.
static void shift_once() {
    OwnedText seventh = text_copy_or_null(uservars[7]);
    free(uservars[9]);
    uservars[9] = uservars[2];
    for (int i = 2; i < 6; i++) uservars[i] = uservars[i + 1];
    uservars[6] = seventh.release();
}

void session_shift_variables(int count) {
    if (count < 0) count += 8;
    // After six places nothing but copies of %7 is left in %2 to %6; after seven in %9 too.
    if (count > 7) count = 7;
    for (int i = 0; i < count; i++) shift_once();
}

static std::optional<std::string> object_in(TracedFunction function, const char *context) {
    if (CurrentObject == nullptr) return std::nullopt;
    std::string name = std::string(CurrentObject) + (context != nullptr ? context : "");
    TRACE_FOR(function, 5, "qrt_Object: %s", name.c_str());
    return name;
}

std::optional<std::string> session_object() {
    return object_in(TRACED(qrt_Object), CurrentContext);
}

std::optional<std::string> session_logged_in_object() {
    return object_in(TRACED(qrt_LoggedInObject), InitialContext);
}

int session_pause() {
    return g_useGUI ? auxpause_script() : 0;
}
