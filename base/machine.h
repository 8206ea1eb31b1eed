// Facts of the local machine: its processor and system, its network interface, the version of the network file
// system's module.
#ifndef BASE_MACHINE_H
#define BASE_MACHINE_H

#include <string>

// Fields of uname; empty when it fails.
std::string machine_processor();
std::string machine_system();
std::string machine_release();

// The addresses of place_network_interface as upper-case hexadecimal digits: six bytes of hardware address, four bytes
// of IPv4 address. All zeros when there is no such interface or it has no address.
std::string machine_hardware_address();
std::string machine_network_address();

// What follows "Marfsd Version=" up to the line end in the first 1024 bytes of place_module_status, else "0.0.0".
std::string machine_module_version();

#endif
