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
  libcli11-dev libsqlite3-dev librabbitmq-dev libdb5.3++-dev)
test_packages=(libgtest-dev libgmock-dev python3 libicu-dev strace dpkg-dev file
  bash-completion man-db)
bench_packages=(libbenchmark-dev libicu-dev libspdlog-dev libssl-dev
  libhowardhinnant-date-dev python3 basex)
check_packages=(clang clang-format clang-tidy libclang-rt-14-dev)

# The broker that durable queues may lie on, for its tests.
broker_packages=(rabbitmq-server openssl)

# install_broker: the broker as a program to run, not as a service. Its package
# starts one on installation unless the system's policy says no; a policy that is
# there already stays.
install_broker() {
  dpkg-query -W -f='${Status}' rabbitmq-server 2>/dev/null |
    grep -q 'install ok installed' && return 0
  local policy=/usr/sbin/policy-rc.d as_root=() is_ours=
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  if [ ! -e "$policy" ]; then
    printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
    "${as_root[@]}" chmod 755 "$policy"
    is_ours=yes
  fi
  local result=0
  install_packages "${broker_packages[@]}" || result=$?
  [ -z "$is_ours" ] || "${as_root[@]}" rm -f "$policy"
  # Nor at the next start of the machine.
  if [ "$result" -eq 0 ] && [ -d /run/systemd/system ]; then
    "${as_root[@]}" systemctl disable rabbitmq-server epmd.socket \
      >/dev/null 2>&1 || true
  fi
  return "$result"
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
