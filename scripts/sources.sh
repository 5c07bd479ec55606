# Fetches and patches Debian source packages for the scripts that build libraries into the cache. Sourced after lib.sh,
# never run.
# VEYRIN_DEBIAN_MIRROR names another mirror than the one of this machine's packages: an address, or file:/FOLDER, whose
# lists are believed without a signature.
# shellcheck shell=bash

patches_dir=$root_dir/scripts/patches
# What open_suite has found out: suite -> read or unread.
declare -A suites_opened=()

# cache_key NAMES-AND-OPTIONS...: a short name for everything that a build in the cache depends on.
cache_key() { printf '%s\n' "$@" | sha256sum | cut -c1-12; }

# source_line SUITE: where apt gets the suite's source packages from.
source_line() {
  local mirror=${VEYRIN_DEBIAN_MIRROR:-} options="check-valid-until=no" keys=/usr/share/keyrings/debian-archive-keyring.gpg
  case "$mirror" in
    "") mirror=$(debian_mirror) || return 1 ;;
    file:*) options+=" trusted=yes" ;;
    *) [ ! -e "$keys" ] || options+=" signed-by=$keys" ;;
  esac
  echo "deb-src [$options] $mirror $1 main"
}

# use_suite SUITE FOLDER: makes apt_options speak of the suite, whatever suite the machine runs; everything is in FOLDER.
use_suite() {
  local folder=$2/apt-$1
  apt_options=(
    -o "Dir::Etc::sourcelist=$folder/sources.list" -o Dir::Etc::sourceparts=-
    -o "Dir::State::lists=$folder/lists" -o "Dir::Cache=$folder/cache"
    -o Acquire::Retries=4 -o Acquire::Check-Valid-Until=false -o APT::Sandbox::User=root
  )
}

# open_suite SUITE FOLDER: reads the suite's source lists, once, and sets apt_options; false when they cannot be read.
open_suite() {
  local suite=$1 folder=$2/apt-$1
  use_suite "$suite" "$2"
  if [ -z "${suites_opened[$suite]:-}" ]; then
    suites_opened[$suite]=unread
    mkdir -p "$folder/lists/partial" "$folder/cache/archives/partial"
    source_line "$suite" >"$folder/sources.list" || exit
    if read_lists >"$folder/log" 2>&1; then
      suites_opened[$suite]=read
    else
      say "the source lists of Debian $suite could not be read: $(grep -m 1 '^E:' "$folder/log" || tail -n 1 "$folder/log")"
    fi
  fi
  [ "${suites_opened[$suite]}" = read ]
}

# A folder that cannot be read now cannot be read in ten seconds either.
read_lists() {
  case "${VEYRIN_DEBIAN_MIRROR:-}" in
    file:*) apt-get -qq "${apt_options[@]}" --error-on=any update ;;
    *) again apt-get -qq "${apt_options[@]}" --error-on=any update ;;
  esac
}

# versions_of PACKAGE: what the open suite offers, the newest first, one a line.
versions_of() {
  local version versions=()
  while read -r version; do
    local position=0
    while [ "$position" -lt ${#versions[@]} ] && dpkg --compare-versions "$version" lt "${versions[$position]}"; do
      position=$((position + 1))
    done
    versions=("${versions[@]:0:position}" "$version" "${versions[@]:position}")
  done < <(apt-cache "${apt_options[@]}" showsrc --only-source "$1" 2>/dev/null | sed -n 's/^Version: //p' | sort -u)
  [ ${#versions[@]} = 0 ] || printf '%s\n' "${versions[@]}"
}

# download_source PACKAGE VERSION: leaves the upstream tarball alone in the folder `download`.
download_source() {
  rm -rf download && mkdir download
  (cd download && apt-get -qq "${apt_options[@]}" source --download-only --tar-only "$1=$2") >download.log 2>&1 &&
    rm -f download/*.asc
}

# is_new_enough VERSION MINIMUM: compares the upstream part of a package's version.
is_new_enough() {
  local upstream=${1#*:}
  dpkg --compare-versions "${upstream%-*}" ge "$2"
}

# fetch_source PACKAGE PIN DIGEST MINIMUM FOLDER SUITE...: unpacks the upstream tarball of the pinned version, from the
# first suite that has it, into the folder, which must not exist yet. If none has it, the newest version is taken that a
# suite offers and that is not older than MINIMUM. Suites are read as far as needed.
fetch_source() {
  local package=$1 pin=$2 digest=$3 minimum=$4 folder=$5 suite version versions candidates=() offers=
  shift 5
  for suite in "$@"; do
    if ! open_suite "$suite" "$PWD"; then
      offers+="${offers:+; }$suite: could not be read"
      continue
    fi
    mapfile -t versions < <(versions_of "$package")
    if [[ " ${versions[*]} " == *" $pin "* ]] && download_source "$package" "$pin"; then
      sha256sum -c --quiet <<<"$digest  $(ls download/*)" || die "the tarball of $package $pin does not have the expected digest"
      say "source: $package $pin from $suite${offers:+, because others do not have it ($offers)}"
      unpack_source "$folder"
      return
    fi
    offers+="${offers:+; }$suite: ${versions[*]:-nothing}"
    for version in "${versions[@]}"; do
      if [ "$version" != "$pin" ] && is_new_enough "$version" "$minimum"; then candidates+=("$version $suite"); fi
    done
  done
  fetch_newest "${candidates[@]}"
  unpack_source "$folder"
}

# fetch_newest "VERSION SUITE"...: downloads the newest of these that can be had; a part of fetch_source.
fetch_newest() {
  local candidate best rest
  while [ $# -gt 0 ]; do
    best=$1 rest=()
    for candidate in "${@:2}"; do
      if dpkg --compare-versions "${candidate% *}" gt "${best% *}"; then
        rest+=("$best")
        best=$candidate
      else
        rest+=("$candidate")
      fi
    done
    use_suite "${best#* }" "$PWD"
    if download_source "$package" "${best% *}"; then
      say "source: $package ${best% *} from ${best#* }, the newest, because $pin could not be had ($offers)"
      return
    fi
    set -- "${rest[@]}"
  done
  die "$package $minimum or newer could not be had from the Debian mirror ($offers)"
}

unpack_source() {
  local tarball
  tarball=$(ls download/*)
  mkdir "$1" && tar -xf "$tarball" -C "$1" --strip-components=1 || die "${tarball#*/} could not be unpacked"
}

# apply_patch FOLDER PATCH: applies the patch without fuzz; ends the script if any part of it does not fit.
apply_patch() {
  quietly patch --batch --forward --fuzz=0 --strip=1 --directory="$1" --input="$patches_dir/$2" ||
    die "scripts/patches/$2 does not fit this version of the source"
}

# apply_patch_if_it_fits FOLDER PATCH: the same, but a patch that does not fit leaves the source as it is and gives false. A
# source that has the change already needs no patch.
apply_patch_if_it_fits() {
  local words=(patch --batch --fuzz=0 --strip=1 --directory="$1" --input="$patches_dir/$2")
  if "${words[@]}" --forward --dry-run >/dev/null 2>&1; then
    apply_patch "$1" "$2"
  elif "${words[@]}" --reverse --dry-run >/dev/null 2>&1; then
    say "the source has the change of scripts/patches/$2 already"
  else
    return 1
  fi
}
