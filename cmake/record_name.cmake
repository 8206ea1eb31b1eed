# The file in the folder `record` that lists what this build has installed. Each DESTDIR has one of its own, so that a
# package that is put together somewhere and an installation on this machine are uninstalled apart from each other.
set(destination "$ENV{DESTDIR}")
if(destination)
  get_filename_component(destination "${destination}" ABSOLUTE)
endif()
string(SHA1 record_name "${destination}")
set(record_file "${record}/${record_name}")
