// The fixed places of the system. They are variables so that code linked with the objects (a test) can point them
// elsewhere; they are not exported, and no environment variable reaches them.
#ifndef FRAME_PLACES_H
#define FRAME_PLACES_H

extern const char *place_config_folder;     // "/etc/opt/brasca/qrt/": login.conf, map.conf
extern const char *place_slp_folder;        // "/etc/": slp.conf
extern const char *place_conf_log;          // the configuration reader's log file
extern const char *place_mount_point;       // "/mnt/brasca": the network file system, unless its status file tells
extern const char *place_module_status;     // "/proc/marfs/Version": the network file system's status file
extern const char *place_network_interface; // "eth0"
extern const char *place_locale;            // "/usr/share/locale"

#endif
