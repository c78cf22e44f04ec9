#!/bin/sh
# Runs a test binary as an unprivileged user, so that file permissions apply to it: as root,
# a read-only folder is still writable. Without root it simply runs the binary.
set -eu
binary=$1
shift
if [ "$(id -u)" -ne 0 ]; then
    exec "$binary" "$@"
fi
# A copy in a folder the user can reach, whatever the permissions of the build tree.
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
chmod 755 "$dir"
cp "$binary" "$dir/"
status=0
setpriv --reuid=65534 --regid=65534 --clear-groups \
    env HOME=/nonexistent TMPDIR=/tmp "$dir/$(basename "$binary")" "$@" || status=$?
exit $status
