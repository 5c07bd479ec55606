# Shared by the scripts in this folder: messages, the cache folder, packages. Sourced, never run.
# shellcheck shell=bash

root_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cache_dir=${XDG_CACHE_HOME:-$HOME/.cache}/veyrin
jobs=$(nproc)
windows_triplet=x86_64-w64-mingw32
windows_ffmpeg_gpl=$cache_dir/windows-tools/ffmpeg-gpl.exe
# Exit status when this machine cannot provide something that is needed only to run Windows programs.
unavailable_status=77

say() { printf '== %s\n' "$*" >&2; }
die() { printf 'error: %s\n' "$*" >&2; exit 1; }
unavailable() { printf 'unavailable: %s\n' "$*" >&2; exit "$unavailable_status"; }

# Runs a command quietly; its output is shown only when it fails.
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# Retries a command that may fail temporarily, as package mirrors do.
again() {
  local attempt
  for attempt in 1 2 3 4; do
    "$@" && return 0
    sleep $((attempt * 3))
  done
  return 1
}

# side_by_side COMMAND...: runs the commands, each one text, at the same time and waits for all of them. The status is that
# of a failed command; `unavailable_status` only when no command failed in another way. When this script is stopped, so are
# the commands and everything that they started.
side_by_side() {
  local command process processes=() status=0 outcome
  # Process groups of their own, or an interrupt would leave them running; such may not read from the terminal.
  set -m
  for command in "$@"; do
    # shellcheck disable=SC2086 # several words
    $command </dev/null &
    processes+=($!)
  done
  set +m
  # shellcheck disable=SC2064 # the processes of now
  trap "kill -TERM -- ${processes[*]/#/-} 2>/dev/null; exit 130" INT TERM HUP
  for process in "${processes[@]}"; do
    outcome=0
    wait "$process" || outcome=$?
    case $outcome in
      0) ;;
      "$unavailable_status") [ "$status" != 0 ] || status=$outcome ;;
      *) status=$outcome ;;
    esac
  done
  trap - INT TERM HUP
  return "$status"
}

# take_turns PREFIX: waits until no other script builds in this folder of the cache. The turn ends with the script and
# what it started.
take_turns() {
  mkdir -p "$cache_dir"
  exec 8>"$1.lock"
  if ! flock --nonblock 8; then
    say "another set-up is building $(basename "$1"); waiting for it"
    flock 8
  fi
}

# Installs the named Debian packages that are missing. Scripts that run at the same time take turns.
need_packages() {
  mkdir -p "$cache_dir"
  (
    flock 9
    install_missing "$@"
  ) 9>"$cache_dir/packages.lock"
}

# The same for packages that only save time: they may be missing.
want_packages() {
  (need_packages "$@") || say "going on without: $*"
}

# Without the lock's descriptor: what apt starts must not keep it.
update_package_lists() {
  again quietly apt-get -qq -o Acquire::Retries=3 update 9>&- ||
    die "the package lists could not be read (is a Debian mirror reachable?)"
}

install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  command -v apt-get >/dev/null || die "these Debian packages are missing and apt-get is not here: ${missing[*]}"
  [ "$(id -u)" = 0 ] || die "these Debian packages are missing; install them as root: ${missing[*]}"
  say "installing ${#missing[@]} packages (usually a minute): ${missing[*]}"
  # An interrupted installation has to be completed first. Without the lock's descriptor: a service that a package starts
  # must not keep it.
  [ -z "$(dpkg --audit)" ] || quietly dpkg --configure -a 9>&- || die "an interrupted installation could not be completed"
  update_package_lists
  DEBIAN_FRONTEND=noninteractive again quietly \
    apt-get -y -o Acquire::Retries=3 --no-install-recommends install "${missing[@]}" 9>&- ||
    die "these packages could not be installed: ${missing[*]}"
}

# The mirror that apt installs this machine's packages from.
debian_mirror() {
  local codename address lists_read=false filter
  codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
  while true; do
    # Debian sid says that its codename is that of the next release.
    for filter in "Codename: $codename" 'Codename: sid'; do
      address=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Component: main' 'Origin: Debian' \
        "$filter" | sort -u | head -n 1)
      [ -z "$address" ] || break 2
    done
    # apt has forgotten its lists in most container images.
    ! $lists_read && [ "$(id -u)" = 0 ] || die "apt has no Debian mirror (check its sources)"
    lists_read=true
    update_package_lists
  done
  echo "${address%/}"
}

# fetch_npm_file PACKAGE@VERSION MEMBER DIGEST TARGET: fetches one file of an npm package and checks its digest. For tests
# only.
fetch_npm_file() {
  local package=$1 member=$2 digest=$3 target=$4 folder status=0
  command -v npm >/dev/null || (need_packages npm) || return 1
  folder=$(mktemp -d)
  # Renamed once complete: the temporary folder may be on another file system, so that moving copies.
  (cd "$folder" && again quietly npm pack --silent "$package" && tar -xzf ./*.tgz "$member" &&
    echo "$digest  $member" | sha256sum -c --quiet && mv "$member" "$target.part" && mv "$target.part" "$target") ||
    status=1
  rm -rf "$folder"
  return "$status"
}
