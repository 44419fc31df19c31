#!/usr/bin/env bash
# Makes the Debian packages of a build and looks at what they hold and need:
# tests/check_packages.sh BUILD_FOLDER
set -euo pipefail
build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "check_packages: $*" >&2
  exit 1
}

cpack --config "$build/CPackConfig.cmake" -B "$work" >"$work/log" 2>&1 ||
  fail "$(tail -20 "$work/log")"

# expect PACKAGE DEPENDS FILE...: what the package needs, as a pattern, and what
# it holds.
expect() {
  local package=$1 depends=$2 archive file
  shift 2
  archive=$(find "$work" -maxdepth 1 -name "${package}_*.deb")
  [ -n "$archive" ] || fail "there is no $package"
  dpkg-deb --field "$archive" Depends | grep -Eq "$depends" ||
    fail "$package needs $(dpkg-deb --field "$archive" Depends)"
  dpkg-deb --contents "$archive" >"$work/contents"
  for file in "$@"; do
    grep -q " \./usr/$file" "$work/contents" || fail "$package lacks $file"
  done
  echo "$package: $(dpkg-deb --field "$archive" Depends)"
}

expect libkivcorelib10 'libxerces-c3\.2.*' 'lib/.*libkivcorelib10\.so\.10'
grep -q 'libkivcorelib10\.so$' "$work/contents" &&
  fail 'the name for linking belongs to libkivcorelib-dev'
dpkg-deb --field "$work"/libkivcorelib10_*.deb Recommends |
  grep -q libsqliteodbc ||
  fail 'libkivcorelib10 recommends no driver of a database'
expect libkivcorelib-dev 'libkivcorelib10 \(= ' include/kiv/log.h \
  'lib/.*libkivcorelib10\.so ->' 'lib/.*/kivcorelib10-config\.cmake' \
  'lib/.*/kivcorelib10\.pc' share/doc/sharelib/CHANGELOG.md \
  share/doc/sharelib/docs/queues.md share/doc/sharelib/docs/messages.md \
  share/doc/sharelib/examples/remote_client.c \
  share/doc/sharelib/examples/remote_servant.py
expect kiv 'libkivcorelib10 \(>= .*libstdc\+\+6|libstdc\+\+6.*libkivcorelib10 \(>= ' \
  bin/kiv share/man/man1/kiv.1 share/bash-completion/completions/kiv
