#!/bin/bash
# quickstart.sh SOURCE_DIR: the quick start shows what it is doing, and may be run by one user after another. It is the
# real one, over a project of two small programs in place of this one. Exit status 77: without root there is no second
# user, and the rest has passed.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
chmod 755 "$folder"
fail() { echo "$1"; cat "$folder/out"; exit 1; }

checkout() { # NAME
    mkdir -p "$folder/$1/scripts" "$folder/$1.home"
    cp "$source/quickstart.sh" "$source/CMakePresets.json" "$folder/$1"
    cp "$source/scripts/install-packages.sh" "$folder/$1/scripts"
    printf '#!/bin/sh\n"$1/qrtlogin" && "$1/map" && echo "logged in with $1"\n' >"$folder/$1/scripts/sample-login.sh"
    chmod +x "$folder/$1/scripts/sample-login.sh"
    printf 'cmake_minimum_required(VERSION 3.25)\nproject(small C)\nadd_executable(qrtlogin main.c)\nadd_executable(map main.c)\nadd_custom_target(product DEPENDS qrtlogin map)\n' >"$folder/$1/CMakeLists.txt"
    echo 'int main(void) { return 0; }' >"$folder/$1/main.c"
}
# Runs the quick start of a checkout, with a home of the runner's own, as the words before it say.
quickstart() { # NAME HOME [PREFIX...]
    local name=$1 home=$2
    shift 2
    env -u XDG_CACHE_HOME HOME="$folder/$home" "$@" "$folder/$name/quickstart.sh" >"$folder/out" 2>&1
}
shown() { grep -qF -- "$1" "$folder/out" || fail "not shown: $1"; }
everything_is_of() { # USER FOLDER
    [ -z "$(find "$2" ! -user "$1" -print -quit)" ] || fail "$2 has files that are not of $1"
}

source=$1
checkout one
quickstart one one.home || fail "it fails"
shown "Configuring: some seconds"
shown "Building: about three minutes on a small machine"
shown "logged in with $folder/one/build/release"
# On a terminal the build tool's own progress is seen.
rm -rf "$folder/one/build"
script -qec "$folder/one/quickstart.sh" /dev/null >"$folder/out" 2>&1 </dev/null || fail "it fails on a terminal"
shown "[2/4]"
# What is wrong is seen.
echo 'int main(void) { return wrong; }' >"$folder/one/main.c"
! quickstart one one.home || fail "a build that fails is taken for one that works"
shown "wrong"

[ "$(id -u)" -eq 0 ] || exit 77
other=(setpriv --reuid=65534 --regid=65534 --clear-groups)
# Root, then somebody else, who cannot even write to the checkout; then root again.
checkout two
mkdir "$folder/other.home"
chown 65534 "$folder/other.home"
quickstart two two.home || fail "root fails"
quickstart two other.home "${other[@]}" || fail "another user fails after root"
shown "build/release is another user's"
shown "logged in with $folder/other.home/.cache/libqrtscript/"
quickstart two two.home || fail "root fails after another user"
shown "logged in with $folder/two/build/release"
everything_is_of root "$folder/two/build"
# Somebody else first, then root, who leaves nothing in the other's folder.
checkout three
chown -R 65534 "$folder/three"
quickstart three other.home "${other[@]}" || fail "another user fails"
shown "logged in with $folder/three/build/release"
quickstart three three.home || fail "root fails after another user has built"
everything_is_of 65534 "$folder/three/build"
echo '/* changed */ int main(void) { return 0; }' >"$folder/three/main.c"
quickstart three other.home "${other[@]}" || fail "another user fails after root's visit"
shown "logged in with $folder/three/build/release"
# No place at all.
! quickstart two nowhere "${other[@]}" || fail "it builds in no folder"
shown "name a folder of your own"
