#include "frame/places.h"

const char *place_config_folder = "/etc/opt/brasca/qrt/";
const char *place_slp_folder = "/etc/";
const char *place_conf_log = "/var/opt/brasca/log/qrt/qrt_conf_parse.log";
const char *place_mount_point = "/mnt/brasca";
const char *place_module_status = "/proc/marfs/Version";
const char *place_network_interface = "eth0";
const char *place_locale = "/usr/share/locale";
