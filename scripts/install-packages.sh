#!/bin/sh
# Installs from Debian's packages what a group of tasks needs and the machine lacks. Needs root or sudo only when
# something is missing.
#   scripts/install-packages.sh build          to build and run
#   scripts/install-packages.sh build windows  to build the prompts' windows, too
#   scripts/install-packages.sh build check    to run every test as well
#   scripts/install-packages.sh build windows analysis for scripts/check-analysis.sh
#   scripts/install-packages.sh build check coverage for scripts/check-coverage.sh
#   scripts/install-packages.sh build check directories for scripts/check-directories.sh
#   scripts/install-packages.sh build check editors  for scripts/check-editors.sh
#   scripts/install-packages.sh build check screenshots for scripts/make-screenshots.sh
#   scripts/install-packages.sh build bench          for bench/run
set -eu
build="g++ cmake ninja-build bison pkg-config libtomlplusplus-dev libldap-dev libgnutls28-dev libunistring-dev libsasl2-dev libcrypt-dev libbsd-dev libkrb5-dev nlohmann-json3-dev libseccomp-dev libgtest-dev libgmock-dev gettext util-linux mount scdoc python3"
windows="libgtk-4-dev"
check="$windows xvfb sway wtype xdotool dbus-daemon at-spi2-core python3-pyatspi adwaita-icon-theme gsettings-desktop-schemas fonts-dejavu-core imagemagick librsvg2-bin desktop-file-utils appstream clang clang-format python3 locales libclang-rt-14-dev binutils slapd ldap-utils openssl krb5-kdc krb5-admin-server krb5-user libsasl2-modules-gssapi-mit cppcheck autofs python3-jsonschema git strace man-db mandoc zsh fish vim"
analysis="git clang-tidy cppcheck abigail-tools"
coverage="gcovr"
directories="samba samba-dsdb-modules samba-ad-provision samba-vfs-modules ldb-tools 389-ds-base smbnetfs"
editors="neovim nano"
screenshots="fonts-noto-cjk"
bench="libbenchmark-dev python3 dash mksh mawk lua5.4 tcl perl libnet-ldap-perl python3-ldap slapd ldap-utils gnuplot-nox"

wanted=
for group in "$@"; do
    case $group in
        build) wanted="$wanted $build" ;;
        windows) wanted="$wanted $windows" ;;
        check) wanted="$wanted $check" ;;
        analysis) wanted="$wanted $analysis" ;;
        coverage) wanted="$wanted $coverage" ;;
        directories) wanted="$wanted $directories" ;;
        editors)
            wanted="$wanted $editors"
            # From wherever they come.
            { command -v node && command -v npm; } >/dev/null || wanted="$wanted nodejs npm"
            ;;
        screenshots) wanted="$wanted $screenshots" ;;
        bench) wanted="$wanted $bench" ;;
        *) echo "install-packages.sh: unknown group '$group'" >&2; exit 64 ;;
    esac
done
missing=
for package in $wanted; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "Missing packages:$missing. Install them as root, or install sudo." >&2; exit 1; }
    as_root=sudo
fi
echo "Installing$missing"
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get update -qq
# The tests start servers of their own: no package may start one, neither now nor, with a configuration of its own,
# when the machine starts the next time.
policy=/usr/sbin/policy-rc.d
if [ ! -e $policy ]; then
    printf '#!/bin/sh\nexit 101\n' | $as_root tee $policy >/dev/null
    $as_root chmod 755 $policy
    trap '$as_root rm -f $policy' EXIT
fi
case "$missing " in
    *" slapd "*) echo "slapd slapd/no_configuration boolean true" | $as_root debconf-set-selections ;;
esac
# shellcheck disable=SC2086 # a list of words
$as_root env DEBIAN_FRONTEND=noninteractive RUNLEVEL=1 apt-get install -y -qq --no-install-recommends $missing >/dev/null
