/* libqrtscript: runs the login scripts of a user, of their container and of their profile.
 *
 *     ... the caller has logged the user in (zk.h): scripts run without asking for proof of who the user is
 *     qrt_init(NULL, NULL);            // or qrt_init(NULL, stream)
 *     ... on another thread: while (qrt_ReadResults(&line) == 0) { puts(line); free(line); }
 *     result = qrt_RunScripts(&args);  // ends the session itself
 *
 * Conventions:
 *  1. Encoding. All strings are NUL-terminated. The library does not interpret the encoding; names and output are
 *     passed through as they are in the directory and the scripts.
 *  2. Null. A null string is treated as a missing one, and nothing is written through a null pointer: the function
 *     returns what it returns if nothing was found, or 0xFFFFE022 (ZKE_BAD_PARAMETER) if its result is a client code.
 *  3. Ownership. A "new heap string" must be freed by the caller with free(). Getters that return a global return it
 *     borrowed: the caller must neither free it nor keep it across another call. Strings passed in remain the caller's.
 *  4. Codes. 0 is success. Otherwise the code is the directory client's (zk.h) or one of the QRT_ codes below.
 *  5. Threads. One thread at a time; only qrt_ReadResults may run concurrently with qrt_RunScripts, to read from the
 *     pipe.
 *  6. Process state. qrt_init installs a handler for SIGINT and calls setlocale; SET statements change the environment
 *     of the calling process; programs that a script runs are its children.
 *  7. Call qrt_init once for each qrt_RunScripts.
 */
#ifndef QRTSCRIPT_H
#define QRTSCRIPT_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

#define QRT_NO_TREE 0xF001u       /* qrt_RunScripts: neither the tree name nor the server leads to a tree */
#define QRT_NO_USER 0xF003u       /* qrt_RunScripts: the request names no user */
#define QRT_NOT_FOUND 0xFFFFFFFFu /* a lookup found nothing */
#define QRT_USER_VARIABLES 10

/* ---- a session from start to end ---- */

/* Starts a session. `unused` is ignored. If `output` is null, the library creates a pipe, to be read with
 * qrt_ReadResults; otherwise all output is written to `output`, which remains the caller's. Returns 0, or -1 if the
 * pipe could not be created. */
int qrt_init(void *unused, FILE *output);

/* Ends a session: writes the end marker, closes the descriptor `fd[1]` and frees the session's strings. With a stream
 * of the caller's own, fd[1] is 0, and so descriptor 0 (standard input) is closed. Returns 0. */
int qrt_exit(void);

/* The next line of output without its line feed, as a new heap string; a line longer than 1024 bytes is returned in
 * several pieces. Returns 0, or -1 with `*line` null: at the end of the output, or when memory is exhausted (errno is
 * ENOMEM then; set it to 0 before the call to tell the two apart). In the latter case nothing has been read; a caller
 * that does not call again must read `fd[0]` up to the end marker, a NUL byte, or the scripts block on the full pipe.
 * Only for a session with a pipe. */
int qrt_ReadResults(char **line);

/* What to run. Every string may be null except `user`, which is required. */
typedef struct QrtRunScriptsArgs {
    char *userVar2; /* values of the user variables %2 to %5 */
    char *userVar3;
    char *userVar4;
    char *userVar5;
    char *treename;
    char *context;       /* used only when the context cannot be determined otherwise */
    char *user;          /* "jdoe", or "jdoe.sales.acme"; cut at its first period when nobody is logged in */
    char *profileScript; /* path of a local file; "<DEFAULT>" is replaced by null here */
    char *loginScript;   /* likewise */
    char *server;
    char *password;  /* copied, for logins to further trees; the copy is wiped at the end of the run */
    int32_t userGUI; /* non-zero: prompts and pauses use windows */
} QrtRunScriptsArgs;

/* Runs the container's, the profile's and the user's (or the default) script, then ends the session with qrt_exit.
 * Returns QRT_NO_TREE or QRT_NO_USER (the session is then left open), else the result of the user's script:
 * 0, or 1 after a syntax error. */
uint32_t qrt_RunScripts(QrtRunScriptsArgs *args);

/* Runs another script in an open session. Does nothing without a current tree. Returns 0. */
int qrt_RunScript(const char *text);

/* Runs `text` for `objectName` (borrowed while the script runs) on a directory context. Returns 0, or 1 after a syntax
 * error or an IF without its END. */
int parsescript_Run(const char *text, char *objectName, uint32_t contextHandle);

/* Reads `debug_level` from login.conf. Returns 0. */
int qrt_script_load_configuration(void);
/* The SIGINT handler: after BREAK ON it writes the abort line and ends the process with status 0. */
void cntrlcHandler(int signal);
/* Opens the configuration reader's log file into `fpLogFileOutput`, or clears `bLogFileOutput`. */
void openLogFile(void);

/* ---- output ---- */

extern int32_t fd[2];          /* the pipe: read end, write end; 0 with a stream of the caller's. Set by qrt_init. */
extern FILE *fdr;              /* where all output goes. Set by qrt_init. */
extern int32_t debug_level;    /* trace level, 0 is none. Set by the caller, by DEBUG, by qrt_init. */
extern uint8_t bLogFileOutput; /* the configuration reader's log is on. Set by openLogFile, qrtGetConfValue. */
extern FILE *fpLogFileOutput;  /* that log. Set by openLogFile. */

/* ---- the session's state, to be read between two calls ---- */

extern char *CurrentContext;  /* with a leading ".". Set by qrt_SetCurrentContext. */
extern char *InitialContext;  /* Set by qrt_SetInitialContext. */
extern char *CurrentObject;   /* the user object's bare name. Set by qrt_SetCurrentObject. */
extern char *LoginName;       /* Set by qrt_SetLoginName. */
extern char *CurrentTree;     /* Set by qrt_SetTree. */
extern char *CurrentPassword; /* Set by qrt_RunScripts, or by the caller after qrt_init; a heap string, which
                               * qrt_RunScripts wipes and frees. */
extern char *uservars[QRT_USER_VARIABLES]; /* %0 to %9. Set by qrt_SetUserVar, qrt_ShiftVars, qrt_SetServer. */
extern char *objname;                      /* borrowed: whose script runs. Set by parsescript_Run. */
extern uint32_t ctx;                       /* the running script's directory context. Set by parsescript_Run, TREE. */
extern char LoginAliasContext[2];          /* "Y" after a login through an alias context. Set by qrt_RunScripts. */
extern int32_t g_useGUI;                   /* Set by qrt_RunScripts. */
extern char *over_ride_profile;            /* Set by PROFILE. */
extern int32_t use_default_script; /* Initially 0. A caller can set it and see whether NO_DEFAULT has cleared it. The
                                    * library never reads it. */
extern uint8_t bcntrlc;            /* Set by BREAK, read by cntrlcHandler. */

/* Null, or called when a script starts a program: the first before that, the second in the new process, before it
 * becomes the program. There it may only make calls that are safe in a signal handler, and the memory is still the
 * caller's: pthread_atfork's functions are not called. Set by the caller. */
extern void (*qrt_before_program)(void);
extern void (*qrt_in_program)(void);

extern uint8_t attachedCount;         /* not used by the library; for the calling program */
extern char libtreeloginLocation[40]; /* not used by the library; for the calling program */
extern char hostResName[19];          /* the attribute with a volume's name on its server */
extern char pathStr[5];               /* the attribute with a directory map's target */
extern char *driveDir;                /* directory of the current drive, or null. Set by DRIVE. */

char *qrt_GetCurrentContext(void);
char *qrt_GetInitialContext(void);
char *qrt_GetObject(void);
char *qrt_GetCurrentTree(void);
/* A new copy of %0, or null. */
char *qrt_GetServer(void);
/* Each returns the stored copy. */
char *qrt_SetCurrentObject(const char *name);
char *qrt_SetLoginName(const char *name);
char *qrt_SetInitialContext(const char *context);
/* Stores the context with a leading "." and prints it. Returns the result of flushing the output. */
int qrt_SetCurrentContext(char *context);
/* `value` may be null and empties the variable. An index outside 0 to 9 is ignored. */
void qrt_SetUserVar(int index, const char *value);
/* Rotates %2 to %7 by `count` places; %9 receives the old %2. A negative count is counted from 8. */
void qrt_ShiftVars(int count);
/* A new heap string: the current object in the current or in the initial context; null without an object. */
char *qrt_Object(void);
char *qrt_LoggedInObject(void);
/* Waits for the user in a window if `g_useGUI` is set; otherwise returns 0 at once. */
int qrt_getPauseResponse(void);
/* Non-zero when the process is logged in to the context's tree. */
uint32_t qrt_CheckIfLoggedIn(uint32_t handle);
/* Copies a dotted name into `out` (at most `maxLen` bytes and the NUL) without the one- and two-letter type prefixes
 * after a period. Returns the number of bytes copied. */
int qrt_abbrivateName(const char *in, char *out, int maxLen);

/* ---- script sources ---- */

/* A local file's text as a new heap string, or null. */
char *qrt_readLoginScriptFromFile(const char *path);
/* The object's login script with a line break appended, as a new heap string. Returns 0 or the client's code. */
uint32_t qrt_GetLoginScript(uint32_t handle, const char *objectName, char **text);
/* The script of the nearest container above the object that has one. Returns 0 or QRT_NOT_FOUND. */
uint32_t qrt_get_container(uint32_t handle, const char *objectName, char **text);
int __get_default_script(char **text);

/* ---- identifiers and attributes ---- */

/* One row of the identifier table; a null name ends it. */
typedef struct QrtIdentifier {
    const char *name;
    uint32_t code;
} QrtIdentifier;
/* One row of the attribute-name table; a null name ends it. */
typedef struct QrtAttributeName {
    const char *identifier;
    const char *attribute;
} QrtAttributeName;
extern QrtIdentifier itable[];
extern QrtAttributeName ctable[];

/* The value of an identifier as a new heap string. Returns 0, or QRT_NOT_FOUND and leaves `*value` alone. */
uint32_t qrt_GetIdentifierValue(uint32_t handle, const char *object, const char *identifier, char **value);
/* A new heap string in which every identifier reference that can be resolved is replaced. */
char *qrt_find_replace_ids(uint32_t handle, const char *text);
/* The value of an environment variable named "NAME", "<NAME>" or "%<NAME>" as a new heap string, or null. */
char *qrt_GetEnvVar(const char *name);
/* The first value of an attribute as a new heap string; a single digit names a user variable. */
uint32_t qrt_GetAttribute(uint32_t handle, const char *object, const char *attribute, char **text);
/* The last value of an attribute. For syntax 24 it is ctime's static buffer and must not be freed; otherwise new heap
 * data. */
uint32_t __GetAttribute(uint32_t handle, const char *object, const char *attribute, char **value);
/* `*flag` is 0 when a value of the attribute names `name`, 1 when none does. Returns 0 or the client's code. */
uint32_t qrt_compareAttribute(uint32_t handle, const char *object, const char *attribute, const char *name,
                              uint32_t *flag);
/* A new heap string: the name of a client code, empty for an unknown one. */
char *qrt_Error(const char *api, const char *function, int line, uint32_t code);

/* ---- names and volumes ---- */

/* The first delimiter without a backslash before it, or null. */
char *qrt_DSFindDelimiter(const char *text, const char *delimiter);
/* Splits a name; each output may be null; otherwise it must have room for as many bytes as `name` has, and at least for
 * 7 ("[Root]"). Returns `leaf`. */
char *qrt_DSRemoveNameFromFullName(const char *name, char *parent, char *leaf, char *typedLeaf);
/* Finds the server of a volume object: sets `*connection` to 0; `server` must have room for 514 bytes. */
uint32_t qrt_DSGetObjConnID(uint32_t handle, const char *volumeObject, uint32_t *connection, char *server,
                            void *unused);
/* A volume object's name on its server; `volume` must have room for 514 bytes. */
uint32_t qrt_DSGetPhysicalVolumeName(uint32_t handle, const char *volumeObject, char *volume);
/* A directory map's volume object (514 bytes) and its path, put in front of `rest` (256 bytes). */
uint32_t qrt_CheckForDirectoryMap(uint32_t handle, const char *mapObject, char *volumeObject, char *rest);
/* Splits a path that begins with a volume or directory-map object, or else one that the client itself understands.
 * `volume`, `rest` and `resolved` may be null; `resolved` is 1 when the directory gave the answer. */
uint32_t qrt_ZKDSParsePath(uint32_t handle, const char *path, char *server, uint32_t *connection, char *volume,
                           char *rest, uint16_t *resolved);

/* ---- contexts, trees, servers ---- */

/* A context handle bound to the tree, freed with ZKDSFreeContext. For an unknown tree the code is 0xFFFFFD42 and the
 * handle has no tree. */
uint32_t qrt_Getctx(const char *tree, uint32_t *handle);
/* Each returns a new heap string, or null. */
char *qrt_GetTreeName(const char *tree);
char *qrt_GetTreeFromServer(const char *server);
char *qrt_GetDefaultServerFromTree(const char *tree);
char *qrt_GetDefaultServer(void);
/* Of the default connection; 0 and 0xFFFFFFFF when unknown. */
uint32_t qrt_UserID(void);
uint32_t qrt_StationNumber(void);

/* Logs in to a tree; `*handle` is the new context, or 0. */
uint32_t qrt_TreeLogin(const char *tree, char *user, char *password, uint32_t *handle);
uint32_t qrt_TreeLogout(const char *tree);
/* Asks for a name and a password, both new heap strings for 0. */
uint32_t qrt_get_user_password(int gui, const char *label, const char *defaultUser, char **user, char **password);
/* Sets the session's tree and prints it. */
void qrt_SetTree(const char *tree);
/* The TREE statement. `user` and `password` may be null; the caller's password is overwritten with zero bytes. */
void doTreeLogin(const char *tree, const char *user, char *password);

/* 0: a connection to the server is authenticated and `*tree` is its tree (a new heap string, or null). 1: it is not. */
uint32_t qrt_CheckAuthServer(char *server, char **tree);
/* Makes the server the primary one and sets %0. 1 for a null server. */
uint32_t qrt_SetServer(uint32_t handle, const char *server);
/* Attaches to a server, asking for a name and a password if necessary. 1 for a null server or a cancelled prompt. */
uint32_t qrt_Attach(char *server);

/* ---- configuration files ---- */

#define QRT_CONF_NO_KEY 10u
#define QRT_CONF_NO_FILE_NAME 11u
#define QRT_CONF_SECTION 12u
#define QRT_CONF_EMPTY_KEY 13u
#define QRT_CONF_NO_SPACE 14u
#define QRT_CONF_NO_FILE 15u
#define QRT_CONF_TOO_LONG 16u

/* Copies the value of `key` from one configuration file into `value` (at most `valueSize` bytes, NUL included).
 * `section` is empty. Returns 0 or a QRT_CONF_ code; `value` is written only for 0 and QRT_CONF_TOO_LONG, which leaves
 * the value's length in decimal there, or "*". The first line that mentions the key in any letter case wins. */
uint32_t qrtGetConfValue(const char *fileName, const char *section, const char *key, char *value, int valueSize);
/* Parses one line, modifying it. Returns 0 if the line does not contain the key, 1 if the value was copied, otherwise
 * the length of the value that does not fit. */
int parseLineForKeyValue(char *line, const char *key, char *value, int valueSize);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
