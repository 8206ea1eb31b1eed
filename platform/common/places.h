// The fixed places of the system. They are variables so that code linked with the objects (a test) can point them
// elsewhere; they are not exported, and no environment variable reaches them. The library, the mapping program and the
// directory client each have their own copy.
#ifndef PLATFORM_COMMON_PLACES_H
#define PLATFORM_COMMON_PLACES_H

inline const char *place_config_folder = "/etc/opt/brasca/qrt/"; // login.conf, map.conf
inline const char *place_slp_folder = "/etc/";                   // slp.conf
// The configuration reader's log file.
inline const char *place_conf_log = "/var/opt/brasca/log/qrt/qrt_conf_parse.log";
inline const char *place_mount_point = "/mnt/brasca";           // unless the status file names another: location.h
inline const char *place_module_status = "/proc/marfs/Version"; // the network file system's status file
inline const char *place_network_interface = "eth0";
inline const char *place_site_copy = "/var/cache/brasca/site/volumes"; // tools/automount/site.h
inline const char *place_drive_states = "/run/brasca";                 // drive_state.h
inline const char *place_user_folders = "/run/user";                   // smb_credentials.h
inline const char *place_mount_helpers = "/sbin";                      // mount.cifs, mount.nfs
inline const char *place_kernel_log = "/dev/kmsg";
inline const char *place_locale = "/usr/share/locale";

#endif
