# Shared by the scripts beside it: say what happens, install what is missing,
# configure and build. Sourced with the repository as the current directory.

say() { printf '== %s\n' "$*"; }

# install_packages NAME...: those that are missing, through apt.
install_packages() {
  local missing=() name
  for name in "$@"; do
    dpkg-query -W -f='${Status}' "$name" 2>/dev/null |
      grep -q 'install ok installed' || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  say "installing ${missing[*]}"
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq)
  local log
  log=$(mktemp)
  if ! { "${apt[@]}" update && "${apt[@]}" install -y \
         --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    say 'the packages could not be installed'
    return 1
  fi
  rm -f "$log"
}

build_packages=(g++ cmake ninja-build ccache pkg-config libxerces-c-dev
  libcli11-dev libsqlite3-dev librabbitmq-dev libdb5.3++-dev libicu-dev
  libedit-dev unixodbc-dev libsqliteodbc libzeroc-ice-dev zeroc-ice-compilers)
package_packages=(dpkg-dev file python3)
test_packages=(libgtest-dev libgmock-dev python3 python3-zeroc-ice openssl
  strace odbc-postgresql tdsodbc odbc-mdbtools nlohmann-json3-dev zlib1g-dev
  bash-completion man-db python3-markdown "${package_packages[@]}")
bench_packages=(libbenchmark-dev libspdlog-dev libssl-dev
  libhowardhinnant-date-dev python3 basex libsqliteodbc)
docs_packages=(python3 python3-markdown)
check_packages=(clang clang-format clang-tidy libclang-rt-14-dev)

# The broker that durable queues may lie on, for its tests.
broker_packages=(rabbitmq-server openssl)

# The server that tests of the record store start for themselves.
server_packages=(postgresql)

# install_as_programs SERVICE... -- NAME...: packages of servers, as programs to
# run, not as services. They start one on installation unless the system's policy
# says no; a policy that is there already stays. The services are those to keep
# from starting with the machine.
install_as_programs() {
  local services=()
  while [ "$1" != -- ]; do
    services+=("$1")
    shift
  done
  shift
  local name is_missing=
  for name in "$@"; do
    dpkg-query -W -f='${Status}' "$name" 2>/dev/null |
      grep -q 'install ok installed' || is_missing=yes
  done
  [ -n "$is_missing" ] || return 0
  local policy=/usr/sbin/policy-rc.d as_root=() is_ours=
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  if [ ! -e "$policy" ]; then
    printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
    "${as_root[@]}" chmod 755 "$policy"
    is_ours=yes
  fi
  local result=0
  install_packages "$@" || result=$?
  [ -z "$is_ours" ] || "${as_root[@]}" rm -f "$policy"
  # Nor at the next start of the machine.
  if [ "$result" -eq 0 ] && [ -d /run/systemd/system ]; then
    "${as_root[@]}" systemctl disable "${services[@]}" >/dev/null 2>&1 || true
  fi
  return "$result"
}

install_broker() {
  install_as_programs rabbitmq-server epmd.socket -- "${broker_packages[@]}"
}
install_server() {
  install_as_programs postgresql -- "${server_packages[@]}"
}

# build_preset NAME [TARGET...]: configures when needed and builds.
build_preset() {
  local preset=$1
  shift
  say "configuring $preset"
  cmake --preset "$preset" >"build.$preset.log" 2>&1 || {
    cat "build.$preset.log" >&2
    return 1
  }
  rm -f "build.$preset.log"
  say "building $preset"
  cmake --build --preset "$preset" ${1:+--target "$@"}
}
