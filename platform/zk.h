// The directory, connection and file client: everything that a login needs from the network.
//
// Conventions:
// 1. Strings are NUL-terminated and UTF-8 on the wire. A name written into a caller's buffer is at most ZK_MAX_NAME
//    bytes plus the NUL, an attribute name at most ZK_MAX_ATTR_NAME plus the NUL.
// 2. A call returns ZK_OK (0) or one of the codes at the end; out parameters are written only for ZK_OK unless the
//    call says otherwise.
// 3. Object names are dotted, leaf first, typed ("CN=jdoe.OU=sales.O=acme"), typeless ("jdoe.sales.acme") or mixed. A
//    leading "." makes a name complete from the root; otherwise it is relative to the context's name context. A parent
//    written "[Root]" is the root. A backslash escapes the character after it.
// 4. Attribute names are compared without regard to case, and "_" equals " ".
// 5. The client must be used by one thread at a time only.
#ifndef PLATFORM_ZK_H
#define PLATFORM_ZK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

#define ZK_MAX_NAME 512
#define ZK_MAX_ATTR_NAME 32
#define ZK_TREE_NAME_SIZE 33   // of ZK_INFO_TREE_NAME: 32 bytes padded on the right with "_", and the NUL
#define ZK_SERVER_NAME_SIZE 49 // of ZK_INFO_SERVER_NAME, the NUL included

// ---- start and version ----

// Make the client ready; both may be called any number of times. The arguments are reserved and null.
uint32_t ZKCallsInit(void *reserved1, void *reserved2);
uint32_t ZKCLXInit(void *reserved1, void *reserved2);
// From now on nothing of what is read, and of who logs in, is kept on this machine, and nothing that was kept is used:
// no copies of directories, no password for mounting drives. To be called before a tree is used.
uint32_t ZKKeepNothing(void);
uint32_t ZKGetZKNetVersion(uint8_t *major, uint8_t *minor, uint8_t *revision, uint8_t *patch);
// The error message of the last failure in reading the configuration, loading a tree or logging in, for an
// administrator ("acme.ldif:17: malformed DN"); empty if nothing has failed. Truncated to `size` bytes, NUL included.
uint32_t ZKGetLastErrorText(uint32_t size, char *text);
// Sets a function that is called when a request has been waiting for directory servers for `milliseconds`: with the URI
// of the server that it is waiting for (or a description of it), again for each further server that it tries, and with
// null when the wait is over. It is called within the client's calls, on the caller's thread; it must not call the
// client and must not throw. A null `notice`, the default, turns this off.
typedef void (*ZKWaitNotice)(const char *server);
uint32_t ZKSetWaitNotice(uint32_t milliseconds, ZKWaitNotice notice);

// ---- directory contexts ----

// Context keys, and the type behind the pointer.
enum {
    DCK_FLAGS = 1,           // uint32_t, DCV_ bits
    DCK_NAME_CONTEXT = 3,    // text; empty means the root
    DCK_LAST_CONNECTION = 8, // uint32_t
    DCK_TREE_NAME = 11       // text, unpadded
};

// Flag bits. 0x40 is accepted and stored.
enum {
    DCV_DEREF_ALIASES = 0x01,
    DCV_XLATE_STRINGS = 0x02,
    DCV_TYPELESS_NAMES = 0x04, // names are returned without "type=" prefixes
    DCV_CANONICALIZE_NAMES = 0x10
};

// A new context handle, to be freed with ZKDSFreeContext. Returns ZKE_BAD_CONTEXT if no context could be created.
uint32_t ZKDSCreateContextHandle(uint32_t *context);
uint32_t ZKDSFreeContext(uint32_t context);
uint32_t ZKDSSetContext(uint32_t context, int key, const void *value);
uint32_t ZKDSGetContext(uint32_t context, int key, void *value);

// ---- identity ----

// The name of the object logged in to the context's tree; an empty string if none is.
uint32_t ZKDSWhoAmI(uint32_t context, char *name);
// 1 when the process is logged in to the context's tree, 0 when not: not a result code.
uint32_t ZKDSCanDSAuthenticate(uint32_t context);
// Logs in to the context's tree. `option` is 2. ZKE_OTHER_IDENTITY when another identity is logged in to the tree.
// The password of the process's first login is refused unsent, ZKE_NO_ACCESS, for a tree that does not share it;
// an attempt that comes next after a refusal is sent, unless ZKDSCanDSAuthenticate or ZKDSFreeContext was called
// between.
uint32_t ZKDSLoginEx(uint32_t context, const char *object, uint32_t option, const char *password);
// Whether a login to the context's tree needs a password; `*needed` is 0 if the process's own identity is used (a
// Kerberos ticket, a local socket); the password of ZKDSLoginEx may then be empty.
uint32_t ZKDSLoginNeedsPassword(uint32_t context, int *needed);
// Whether a further tree may be tried with the password of the login to the context's tree; if `*shared` is 0, a
// program need not keep it.
uint32_t ZKDSLoginPasswordIsShared(uint32_t context, int *shared);
// The login to the context's tree is over as far as its user notices: "Last Login Time" becomes the present, where the
// user's entry has one and the directory lets the user write it. No answer is waited for, and nothing is reported.
uint32_t ZKDSNoteLogin(uint32_t context);
uint32_t ZKDSLogout(uint32_t context);
// For a program that finds out what a login would do: makes the client answer as if the object, named as to
// ZKDSLoginEx, were logged in to the context's tree. Nobody logs in, and nothing is written: the directory is still
// asked as whoever has logged in before, or as nobody. A null object ends that; what has been logged in stays logged
// in, too. ZKE_NO_SUCH_ENTRY also where the directory does not show the object. Nothing of it may be offered to others
// than those who may read the directory anyway.
uint32_t ZKDSActAs(uint32_t context, const char *object);
// ZK_OK, or why whom ZKDSActAs has named could not log in whatever the password: ZKE_ACCOUNT_LOCKED,
// ZKE_PASSWORD_EXPIRED; ZKGetLastErrorText says it. Only what the object's entry shows is known. ZKE_NOT_LOGGED_IN.
uint32_t ZKDSLoginState(uint32_t context);
// What the directory has said of the password with which the context's tree was logged in to. ZKE_NOT_LOGGED_IN.
typedef struct {
    // Seconds until it expires, 0 when it has expired; -1: not known, or not within the time of which the configuration
    // wants to be warned.
    int32_t expiresIn;
    int32_t graceLogins; // how many logins are left with one that has expired; -1: not known, or it has not expired
    int32_t changeable;  // 1: ZKDSChangePassword may succeed
} ZKDSPasswordInfo;
uint32_t ZKDSGetPasswordInfo(uint32_t context, ZKDSPasswordInfo *info);
// Calls `notice` with the name of each user in the container and below, or in the whole tree for none, as the context
// wants names. It must not call the client and must not throw. An error where the list would not be complete.
typedef void (*ZKUserNotice)(void *caller, const char *name);
uint32_t ZKDSScanUsers(uint32_t context, const char *container, ZKUserNotice notice, void *caller);
// Replaces the password of an object, named as to ZKDSLoginEx; null means who is logged in, and stays so. The old
// password is needed. ZKE_WRONG_PASSWORD for the old one, ZKE_PASSWORD_REFUSED for the new one; ZKE_NO_ACCESS where
// users cannot change passwords, as in a tree that is a file.
uint32_t ZKDSChangePassword(uint32_t context, const char *object, const char *oldPassword, const char *newPassword);
// Authenticates a file server's connection with the identity logged in to its tree.
uint32_t ZKDSAuthenticateConnEx(uint32_t context, uint32_t connection);

// ---- names ----

// Returns the complete name in the form selected by the context's flags; the object need not exist.
uint32_t ZKDSCanonicalizeName(uint32_t context, const char *name, char *canonical);
// The shortest form that still names the object from the context's name context.
uint32_t ZKDSAbbreviateName(uint32_t context, const char *name, char *abbreviated);

// ---- reading objects ----

typedef struct ZKDSBuffer ZKDSBuffer;

typedef struct {
    uint32_t flags;
    uint32_t subordinateCount;
    int32_t modificationTime; // seconds since 1970
    char baseClass[33];       // "User", "Volume", "Directory Map", ...
} ZKDSObjectInfo;

// Attribute syntaxes and the value layouts that ZKDSGetAttrVal fills. What a pointer points to lies in the same block,
// whose size ZKDSComputeAttrValSize returns. Every other syntax is NUL-terminated text.
enum {
    ZK_SYNTAX_NUMERIC_TEXT = 11,
    ZK_SYNTAX_NETWORK_ADDRESS = 12,
    ZK_SYNTAX_PATH = 15,
    ZK_SYNTAX_POSTAL_ADDRESS = 18,
    ZK_SYNTAX_COUNTER = 22, // int32_t
    ZK_SYNTAX_TIME = 24,    // int32_t, seconds since 1970
    ZK_SYNTAX_INTERVAL = 27 // int32_t, seconds
};
typedef struct {
    char *text;
} ZKNumericText;
typedef struct {
    uint32_t type, length; // length in bytes
    uint8_t *address;
} ZKNetworkAddress;
typedef struct {
    uint32_t nameSpace;
    char *volume; // the volume object's name
    char *path;
} ZKPath;
typedef struct {
    char *line[6];
} ZKPostalAddress;

#define ZK_OPERATION_READ 3
#define ZK_INFO_NAMES 0
#define ZK_INFO_NAMES_AND_VALUES 1
#define ZK_NO_MORE_ITERATIONS (-1)

uint32_t ZKDSAllocBuf(uint32_t size, ZKDSBuffer **buffer);
uint32_t ZKDSFreeBuf(ZKDSBuffer *buffer);
uint32_t ZKDSInitBuf(uint32_t context, uint32_t operation, ZKDSBuffer *buffer);
uint32_t ZKDSPutAttrName(uint32_t context, ZKDSBuffer *buffer, const char *attribute);
// `*iteration` must be -1 at first and is -1 again after the last reply. Values that do not fit into the reply buffer
// are returned in the next reply.
uint32_t ZKDSRead(uint32_t context, const char *object, uint32_t infoType, uint32_t allAttributes, ZKDSBuffer *request,
                  int32_t *iteration, ZKDSBuffer *reply);
uint32_t ZKDSReadAttrDef(uint32_t context, uint32_t infoType, uint32_t allAttributes, ZKDSBuffer *request,
                         int32_t *iteration, ZKDSBuffer *reply);
uint32_t ZKDSGetAttrCount(uint32_t context, ZKDSBuffer *reply, uint32_t *count);
uint32_t ZKDSGetAttrName(uint32_t context, ZKDSBuffer *reply, char *attribute, uint32_t *valueCount, uint32_t *syntax);
uint32_t ZKDSComputeAttrValSize(uint32_t context, ZKDSBuffer *reply, uint32_t syntax, uint32_t *size);
uint32_t ZKDSGetAttrVal(uint32_t context, ZKDSBuffer *reply, uint32_t syntax, void *value);
// `info` may be null.
uint32_t ZKDSReadObjectInfo(uint32_t context, const char *object, char *distinguishedName, ZKDSObjectInfo *info);
// Opens a stream attribute for ZKReadFile.
uint32_t ZKDSOpenStream(uint32_t context, const char *object, const char *attribute, uint32_t flags, uint32_t *file);

// ---- files, paths, drives ----

uint32_t ZKReadFile(uint32_t file, uint32_t count, uint32_t *bytesRead, void *data);
uint32_t ZKCloseFile(uint32_t file);
// Splits "SERVER/VOLUME:path", "\\SERVER\VOLUME\path" or "VOLUME:path" (on the primary server), opens a connection to
// the server and returns its name and the volume's name in their own spelling. Each output may be null; without
// `connection` the connection is closed again. `server` has ZK_SERVER_NAME_SIZE bytes, `volume` 65, `rest` 256.
// ZKE_MALFORMED_NAME, ZKE_SERVER_NOT_FOUND, ZKE_VOLUME_UNKNOWN, ZKE_BUFFER_TOO_SMALL for a longer rest.
uint32_t ZKParsePath(const char *path, char *server, uint32_t *connection, char *volume, char *rest);
// With a null buffer only the size of the list is returned. ZKE_NO_ACCESS when the directory of the drives' links is
// not the user's own or others can write in it: see ZKGetLastErrorText.
uint32_t ZKGetMappedDrives(void *buffer, uint32_t *size);
// `*cursor` starts at 0. The end of the list is ZKE_NO_MORE_ENTRIES.
uint32_t ZKEnumMappedDrives(const void *buffer, uint32_t *cursor, uint32_t *attribute, uint32_t localSize,
                            char *localPath, uint32_t targetSize, char *target);

// What a volume of the context's tree is mounted from (docs/drives.md). The strings are those of the directory,
// unchecked, and live as long as the call that hands them out; `options` may be empty.
typedef struct {
    const char *server, *volume, *source, *options;
} ZKVolumeSource;
typedef void (*ZKVolumeSourceNotice)(void *caller, const ZKVolumeSource *volume);
// Calls `notice` with each volume of the context's tree that has a source and whose server is in the tree. It must not
// call the client and must not throw.
uint32_t ZKDSScanVolumeSources(uint32_t context, ZKVolumeSourceNotice notice, void *caller);

// Calls `notice` with each configured volume whose drives lead to a folder of this machine itself instead of below the
// mount point (mount = "link"): `source` is the folder. There are none unless the configuration wants it so.
uint32_t ZKScanLinkedVolumes(ZKVolumeSourceNotice notice, void *caller);

// ---- connections ----

// Name formats, ways of opening a connection, and transports.
enum { ZK_NAME_FILE_SERVER = 2, ZK_NAME_ANY = 0x8000 };
enum { ZK_OPEN_BY_NAME = 1, ZK_OPEN_BY_REFERENCE = 9 };
enum { ZK_TRANSPORT_ANY = 0x8000 };

// Connection information items.
enum {
    ZK_INFO_AUTHENTICATION_STATE = 1, // uint32_t, 0 = none
    ZK_INFO_TREE_NAME = 4,            // char[ZK_TREE_NAME_SIZE]
    ZK_INFO_CONNECTION_NUMBER = 5,    // uint32_t
    ZK_INFO_USER_NUMBER = 6,          // uint32_t
    ZK_INFO_SERVER_NAME = 7,          // char[ZK_SERVER_NAME_SIZE]
    ZK_INFO_COUNTED_STATE = 10        // uint32_t
};

// A process that is logged in to a tree opens a connection to another one by its name even when that directory cannot
// be asked: ZKDSSetContext for DCK_TREE_NAME then returns the reason.
uint32_t ZKCCOpenConnByName(uint32_t start, const char *name, uint32_t nameFormat, uint32_t openState,
                            uint32_t transport, uint32_t *connection);
uint32_t ZKCCOpenConnByRef(uint32_t reference, uint32_t openState, uint32_t reserved, uint32_t *connection);
uint32_t ZKCCScanConnInfo(uint32_t *iteration, uint32_t item, const void *value, uint32_t scanFlags, uint32_t openState,
                          uint32_t infoSize, void *info, uint32_t *connection);
uint32_t ZKCCGetConnInfo(uint32_t connection, uint32_t item, uint32_t size, void *value);
uint32_t ZKCCSetPrimConn(uint32_t connection);
uint32_t ZKCCCloseConn(uint32_t connection);
// Count a connection for file access, and stop counting it.
uint32_t ZKCCLicenseConn(uint32_t connection);
uint32_t ZKCCUnlicenseConn(uint32_t connection);
uint32_t ZKGetDefaultConnRef(uint32_t *reference);
uint32_t ZKLoginToFileServer(uint32_t connection, const char *user, uint32_t objectType, const char *password);
uint32_t ZKSetPreferredDSTree(uint16_t length, const char *tree);

// ---- codes ----

#define ZK_OK 0u
#define ZKE_VOLUME_UNKNOWN 0x8701u   // the file server has no such volume
#define ZKE_OTHER_IDENTITY 0x8800u   // another identity is logged in to the tree
#define ZKE_CONN_INVALID 0x8801u     // no such connection
#define ZKE_SERVER_NO_SLOTS 0x8808u  // no slot for a further connection
#define ZKE_SERVER_NOT_FOUND 0x8847u // no such server or tree
#define ZKE_DIFF_OBJECT_ALREADY_AUTHEN 0x8890u
#define ZKE_NO_SUCH_ATTRIBUTE 0xFFFFFDA5u // -603
#define ZKE_NO_SUCH_VALUE 0xFFFFFDA6u     // -602
#define ZKE_NO_SUCH_ENTRY 0xFFFFFDA7u     // -601
#define ZKE_TREE_NOT_FOUND 0xFFFFFD42u    // -702
#define ZKE_BAD_CONTEXT 0xFFFFFEB8u       // -328

// The client's own codes: one range, low 16 bits negative like the ones above.
#define ZKE_WRONG_PASSWORD 0xFFFFE001u
#define ZKE_ACCOUNT_LOCKED 0xFFFFE002u // locked, disabled, expired or not now: see ZKGetLastErrorText
#define ZKE_NOT_LOGGED_IN 0xFFFFE003u
#define ZKE_NO_ACCESS 0xFFFFE004u
#define ZKE_AMBIGUOUS_NAME 0xFFFFE00Au       // the name is several users': ZKGetLastErrorText names their contexts
#define ZKE_PASSWORD_EXPIRED 0xFFFFE005u     // it may be the right one, but no longer lets anyone in
#define ZKE_PASSWORD_MUST_CHANGE 0xFFFFE006u // it has to be changed before it lets anyone in
#define ZKE_PASSWORD_REFUSED 0xFFFFE007u     // the directory does not take the new one: see ZKGetLastErrorText
#define ZKE_SCRIPT_CHANGED 0xFFFFE030u       // a login script is no longer what it was when it was read
// From here to ZKE_REFERRAL_BROKEN: the directory could not be read; ZKGetLastErrorText returns the reason.
#define ZKE_DIRECTORY_UNREACHABLE 0xFFFFE010u
#define ZKE_BAD_DIRECTORY_DATA 0xFFFFE011u // the tree's file or the configuration could not be read
#define ZKE_SERVER_SILENT 0xFFFFE012u      // a directory server accepted the connection but did not answer in time
#define ZKE_ANSWER_CUT_SHORT 0xFFFFE013u   // timed out in the middle of an answer
#define ZKE_SERVER_CLOSED 0xFFFFE014u      // the server closed the connection before its answer was complete
#define ZKE_ANSWER_MALFORMED 0xFFFFE015u   // the answer is not valid LDAP
#define ZKE_ANSWER_TOO_LARGE 0xFFFFE016u   // the answer is too large
#define ZKE_CERTIFICATE_REFUSED 0xFFFFE017u
#define ZKE_TLS_REQUIRED 0xFFFFE018u       // the connection is not encrypted, so the password was not sent
#define ZKE_HOST_LOOKUP_SILENT 0xFFFFE019u // timed out looking up a server's host name
#define ZKE_TICKET_REFUSED 0xFFFFE01Au     // the Kerberos ticket is missing or was rejected
#define ZKE_REFERRAL_BROKEN 0xFFFFE01Bu    // a referral loop, too many referrals, or one without a usable server
#define ZKE_MALFORMED_NAME 0xFFFFE020u
#define ZKE_BUFFER_TOO_SMALL 0xFFFFE021u
#define ZKE_BAD_PARAMETER 0xFFFFE022u // no such context key, information item, operation; a null pointer
#define ZKE_BAD_HANDLE 0xFFFFE023u    // no such file, buffer or context handle
#define ZKE_NO_MORE_ENTRIES 0xFFFFE024u
#define ZKE_NO_MEMORY 0xFFFFE025u

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
