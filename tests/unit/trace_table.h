// All traces of the library, one row a trace: the exported function whose name the line carries, the level that
// debug_level has to exceed, and the format of the text. A text that several functions share, because they share the
// helper that writes it, names all of them.
#ifndef TRACE_TABLE_H
#define TRACE_TABLE_H

struct TraceInTable {
    const char *functions; // separated by blanks
    int threshold;
    const char *format;
};

// The functions that read an attribute by the client's buffer calls.
#define ATTRIBUTE_READERS \
    "qrt_GetAttribute __GetAttribute qrt_compareAttribute qrt_DSGetPhysicalVolumeName qrt_CheckForDirectoryMap"

inline constexpr TraceInTable trace_table[] = {
    // ---- the session ----
    {"qrt_script_load_configuration", 0, "debug_level found in conf file:%i"},
    {"qrt_GetCurrentTree", 7, "qrt_GetCurrentTree returned (%s)"},
    {"qrt_SetCurrentObject", 7, "entering qrt_SetCurrentObject(%s)"},
    {"qrt_SetLoginName", 7, "entering qrt_SetLoginName(%s)"},
    {"qrt_SetInitialContext", 7, "entering qrt_SetInitialContext(%s)"},
    {"qrt_SetCurrentContext", 7, "entering qrt_SetCurrentContext(%s)"},
    {"qrt_SetUserVar", 5, "uservars:%i,  %s"},
    {"qrt_Object qrt_LoggedInObject", 5, "qrt_Object: %s"},

    // ---- the run sequence ----
    {"qrt_RunScripts", 4, "User Variable2 is: %s"},
    {"qrt_RunScripts", 4, "User Variable3 is: %s"},
    {"qrt_RunScripts", 4, "User Variable4 is: %s"},
    {"qrt_RunScripts", 4, "User Variable5 is: %s"},
    {"qrt_RunScripts", 4, "treename is: %s"},
    {"qrt_RunScripts", 4, "server is: %s"},
    {"qrt_RunScripts", 4, "context is: %s"},
    {"qrt_RunScripts", 4, "user is: %s"},
    {"qrt_RunScripts", 4, "profileScript is: %s"},
    {"qrt_RunScripts", 4, "loginScript is: %s"},
    {"qrt_RunScripts", 4, "userGUI is: %i"},
    {"qrt_RunScripts", 4, "real treename is: %s"},
    {"qrt_RunScripts", 4, "TreeName from server (%s)"},
    {"qrt_RunScripts", 1, "Current logged in user: %s"},
    {"qrt_RunScripts", 7, "using alias context, old (%s), new (%s)"},
    {"qrt_RunScripts", 4, "Now Process Container script"},
    {"qrt_RunScripts", 4, "Could not open/read container script"},
    {"qrt_RunScripts", 4, "Now Process user's Profile script"},
    {"qrt_RunScripts", 4, "object for profile: %s"},
    {"qrt_RunScripts", 4, "Now Process User's Login script (%s)"},
    {"qrt_RunScripts", 4, "Now Process User's Login script: %s"},
    {"qrt_RunScripts", 4, "Now Process User's \"default\" Login script"},
    {"parsescript_Run", 0, "parsescript_Run returned %d (syntax %s)"},

    // ---- the sources of scripts ----
    {"qrt_readLoginScriptFromFile", 3, "Entering ..."},
    {"qrt_readLoginScriptFromFile", 3, "Exiting ..."},
    {"qrt_GetLoginScript", 4, "KDB object is %s"},
    {"qrt_GetLoginScript", 4, "KDB short name is %s"},
    {"qrt_GetLoginScript", 1, "No login script defined for %s: %X"},
    {"qrt_GetLoginScript", 4, "ZKDSOpenStream err: %08X"},
    {"qrt_GetLoginScript", 4, "ZKCCGetConnInfo: 0x%x %d"},
    {"qrt_GetLoginScript", 4, "ZKCCLicenseConn: 0x%x"},
    {"qrt_GetLoginScript", 4, "ZKReadFile: 0x%x"},
    {"qrt_GetLoginScript", 4, "ZKReadFile read size: %i"},
    {"qrt_GetLoginScript", 4, "--------------------Read LoginScript---------------"},
    {"qrt_GetLoginScript", 4, "%s"},
    {"qrt_GetLoginScript", 4, "-------------------------------------------------"},
    {"qrt_get_container", 0, "Error: ZKDSReadObjectInfo(ctx,%s,...) returned %d"},
    {"qrt_get_container", 6, "ZKDSReadObjectInfo(%s) returned (%s)"},
    {"__get_default_script", 3, "entering..."},
    {"__get_default_script", 3, "return (PAM_SUCCESS)"},

    // ---- the language ----
    {"lex_IncludeFile", 4, "quick return, buffer length = 0"},
    {"lex_IncludeFile", 0, "Include failed, Out of memory"},
    {"lex_IncludeFile", 4, "old buffer (%i): %s"},
    {"lex_IncludeFile", 4, "new buffer (%i): %s"},
    {"lex_IncludeFile", 4, "readPos %i length %i character %i"},
    {"lex_IncludeFile", 8, "%i: %c"},
    {"isDelimeter", 7, "delimiter found"},
    {"yylex", 5, "Entering parser (needs more input)"},
    {"yylex", 0, "LINENO:%i %s"},
    {"yylex", 6, "yylex end:cc=%s"},
    {"yylex", 6, "yylex end:cc=\"%c\""},
    {"yyerror", 5, "parse error unexpected input: %s"},
    {"yyparse", 3, "conditional result %s"},
    {"yyparse", 5, "label %s"},
    {"yyparse", 5, "Identifier value:%s"},
    {"yyparse", 1, "Error Invalid Identifier:%s(%X)"},
    {"yyparse", 4, "filespec .%s %s"},
    {"yyparse", 2, "drive: %s"},
    {"yyparse", 5, "%s"}, // the line of a program
    {"yyparse", 5, "no default script"},
    {"yyparse", 5, "TREE %s/%s;%s"},

    // ---- drives ----
    {"qrt_map_command", 4, "map command: %s"},
    {"qrt_map_command", 0, "map command status: 0x%X"},
    {"qrt_ChangeWorkingDir", 7, "drive directory: %s"},
    {"util_map_location", 4, "Map_Link_Default_Location: not read (%u)"},
    {"util_map_location", 4, "Map_Link_Default_Location: %s"},
    {"util_map_existing", 4, "no memory for %u bytes of mapped drives"},

    // ---- the directory ----
    {ATTRIBUTE_READERS, 4, "ZKDSAllocBuf returned %x"},
    {ATTRIBUTE_READERS, 4, "ZKDSInitBuf returned %x"},
    {ATTRIBUTE_READERS, 4, "ZKDSPutAttrName(%s) returned %x"},
    {ATTRIBUTE_READERS, 4, "ZKDSRead(%s) returned %x"},
    {"qrt_GetAttribute", 4, "ZKDSReadAttrDef returned %x"},
    {ATTRIBUTE_READERS, 4, "ZKDSGetAttrCount returned %x"},
    {ATTRIBUTE_READERS, 4, "ZKDSGetAttrName returned %x"},
    {ATTRIBUTE_READERS, 4, "ZKDSComputeAttrValSize returned %x"},
    {ATTRIBUTE_READERS, 4, "ZKDSGetAttrVal returned %x"},
    {"qrt_compareAttribute", 4, "canonical name of (%s) is (%s)"},
    {"qrt_compareAttribute", 4, "%s returned %x"},
    {"qrt_Error", 4, "%s"},
    {"qrt_ZKDSParsePath", 4, "ZKParsePath(%s) returned %x"},

    // ---- contexts and connections ----
    {"qrt_Getctx", 4, "ZKDSCreateContextHandle ccode: %x"},
    {"qrt_Getctx", 6, "ZKDSSetContext(ctx, DCK_FLAGS, DCV_DEREF_ALIASES etc)  ccode: %x"},
    {"qrt_Getctx", 4, "ZKDSSetContext (1) ccode: %x"},
    {"qrt_Getctx", 4, "tree name=(%s)"},
    {"qrt_Getctx", 6, "ZKDSSetContext(ctx, DCK_TREE_NAME, %s)  ccode: %x"},
    {"qrt_Getctx", 4, "ZKDSSetContext: ccode: %x"},
    {"qrt_Getctx", 0, "Can not find tree named: \"%s\""},
    {"qrt_GetTreeName", 5, "qrt_GetTreeName(%s)"},
    {"qrt_GetTreeFromServer", 5, "qrt_GetTreeFromServer(%s)"},
    {"qrt_GetTreeName qrt_GetTreeFromServer", 5, "ZKCCOpenConnByName returned 0x%X"},
    {"qrt_GetTreeName qrt_GetTreeFromServer", 5, "ZKCCGetConnInfo returned 0x%X"},
    {"qrt_GetTreeName", 5, "qrt_GetTreeName found tree (%s)"},
    {"qrt_GetTreeName", 5, "qrt_GetTreeName could NOT find tree."},
    {"qrt_GetDefaultServerFromTree", 5, "Default server for tree %s, is: %s"},
    {"qrt_GetDefaultServerFromTree", 4, "ZKCCGetConnInfo() returned %x"},
    {"qrt_GetDefaultServer", 4, "Error, ZKCCOpenConnByName() returned %x"},
    {"qrt_GetDefaultServer", 4, "Error, ZKGetDefaultConnRef() returned %x"},
    {"qrt_GetDefaultServer", 4, "Error, ZKCCOpenConnByRef() returned %x"},
    {"qrt_GetDefaultServer", 4, "Error, ZKCCGetConnInfo() returned %x"},
    {"qrt_GetDefaultServer", 5, "Default server is: %s"},
    {"qrt_UserID qrt_StationNumber", 4, "ZKGetDefaultConnRef() returned %x"},
    {"qrt_UserID qrt_StationNumber", 4, "ZKCCOpenConnByRef() returned %x"},
    {"qrt_UserID qrt_StationNumber", 4, "ZKCCGetConnInfo() returned %x"},
    {"qrt_UserID", 5, "UserID: %i"},
    {"qrt_StationNumber", 5, "Connection Number: %i"},

    // ---- trees ----
    {"qrt_TreeLogin", 4, "TreeLogin(%s, %s)"},
    {"qrt_TreeLogin", 0, "ZKDSCreateContextHandle ccode: 0x%X"},
    {"qrt_TreeLogin", 0, "ZKDSSetContext (1) ccode: 0x%X"},
    {"qrt_TreeLogin", 0, "ZKDSSetContext: ccode: 0x%X"},
    {"qrt_TreeLogin", 1, "logged into tree [%s]"},
    {"qrt_TreeLogin", 0, "ZKDSLoginEx() returned 0x%x"},
    {"qrt_TreeLogout", 4, "ZKDSCreateContextHandle ccode: %x"},
    {"qrt_TreeLogout", 4, "ZKDSSetContext: ccode: %x"},
    {"qrt_TreeLogout", 4, "logged out of tree %s"},
    {"qrt_TreeLogout", 4, "ZKDSLogout(tree=%s) returned 0x%x"},
    {"qrt_get_user_password", 5, "Initalize graphical login query"},
    {"qrt_get_user_password", 5, "Calling graphical login query"},
    {"qrt_get_user_password", 5, "Calling text based login query"},
    {"qrt_get_user_password", 5, "return value from login query= 0x%X"},
    {"qrt_get_user_password", 4, "qrt_get_user_password return value=0x%X"},
    {"qrt_SetTree", 7, "entering qrt_SetTree(%s)"},
    {"qrt_SetTree", 2, "Set Preferred DS Tree(%s) length:%i"},
    {"doTreeLogin", 2, "TREE - tree=%s, user=%s, pass=%s"},
    {"doTreeLogin", 2, "try to append context (%s) onto user name (%s)."},
    {"doTreeLogin", 2, "try to append context onto user name, failed."},
    {"doTreeLogin", 7, "====you were not logged onto tree %s"},
    {"doTreeLogin", 2, "whoami %s %s"},
    {"doTreeLogin", 2, "whoami %s"},
    {"doTreeLogin", 2, "Tree login return code 0x%X"},
    {"doTreeLogin", 4, "return code from auxconfirm_g %i"},

    // ---- servers ----
    {"qrt_CheckAuthServer", 5, "ZKCCScanConnInfo() returned %X"},
    {"qrt_CheckAuthServer qrt_Attach", 4, "ZKCCGetConnInfo: %x"},
    {"qrt_SetServer", 6, "entering qrt_SetServer(%s)"},
    {"qrt_SetServer", 4, "ZKCCSetPrimConn on %s %x"},
    {"qrt_SetServer", 4, "ZKDSSetContext(DCK_LAST_CONNECTION, to server (%s) = %x"},
    {"qrt_SetServer", 4, "qrt_Getctx FAILED to get context. Default server connection may not be set"},
    {"qrt_Attach", 5, "ZKDSAuthenticateConnEx ccode:%X"},
    {"qrt_Attach", 5, "ZKCCGetConnInfo  ccode:%X"},
    {"qrt_Attach", 5, "check if authent_state:%i"},
    {"qrt_Attach", 4, "qrt_attach username(%s)password(%s)"},
};

#undef ATTRIBUTE_READERS

#endif
