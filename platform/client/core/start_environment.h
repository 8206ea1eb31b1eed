// The environment as it was when the client was first used. Scripts set variables in the process itself, and libraries
// that the client calls read some of them again and again: they load files that these name, or trust what these say.
// What counts for the client's own look-ups, connections and logins is what the process started with:
//
//   variable                             read by            what it could do
//   RES_OPTIONS LOCALDOMAIN HOSTALIASES  resolver           lead a server's name to another host
//   RESOLV_HOST_CONF                     resolver           the same, by a file
//   KRB5_CONFIG                          Kerberos           name another realm and its centre; load plug-ins
//   KRB5CCNAME KRB5_KTNAME               Kerberos           log in with another ticket than the user's
//   KRB5_TRACE                           Kerberos           write into a file
//   GSS_MECH_CONFIG                      GSSAPI             load a library
//   SASL_PATH SASL_CONF_PATH             SASL               load a library
//   LDAPCONF LDAPRC LDAPTLS_...          libldap            other options; the client sets all that matter by hand
//   SSLKEYLOGFILE                        GnuTLS             write the keys of a connection, that is the password
//   GCONV_PATH                           C library          load a library; read once, so it is read at the start
//   NLSPATH LOCPATH                      C library          not read in these calls
//
// All others are the start's as well: a library may read more than its manual says.
#ifndef PLATFORM_CLIENT_CORE_START_ENVIRONMENT_H
#define PLATFORM_CLIENT_CORE_START_ENVIRONMENT_H

// Copies the environment, the first time that it is called. Throws bad_alloc, and the next call tries again.
void start_environment_keep();

// While it lives the process has the environment of the start; nothing that was set since is lost. A thread that
// outlives it, since a look-up did not end in time, reads what there is then; what it finds is not used.
class StartEnvironment {
  public:
    StartEnvironment();
    ~StartEnvironment();
    StartEnvironment(const StartEnvironment &) = delete;
    StartEnvironment &operator=(const StartEnvironment &) = delete;

  private:
    char **setSince_;
};

#endif
