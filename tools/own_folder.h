// Where this program's own binary stands, and what was installed with it.
#ifndef TOOLS_OWN_FOLDER_H
#define TOOLS_OWN_FOLDER_H

#include <string>

// The folder of the binary, without symbolic links; an empty string when it is unknown.
std::string own_folder();

// Looks messages up in the catalogues that were installed below the same prefix as this program. The library looks in
// the system's, so this is to be called again after each qrt_init. A program that runs from the folder in which it was
// built has no catalogues of its own and goes on with the system's.
void own_catalogues_bind();

#endif
