# Which packages have to be there, by the table packages.txt. Sourced after lib.sh, never run.
# shellcheck shell=bash

# Debian and Ubuntu: debian; Fedora: fedora; any other system: other. VEYRIN_OS_RELEASE names another file, for tests.
package_system() {
  local kinds
  kinds=$(. "${VEYRIN_OS_RELEASE:-/etc/os-release}" 2>/dev/null && echo " ${ID:-} ${ID_LIKE:-} ") || true
  case "$kinds" in
    *" debian "* | *" ubuntu "*) echo debian ;;
    *" fedora "*) echo fedora ;;
    *) echo other ;;
  esac
}

# packages_for SYSTEM SET...: the names, one a line.
packages_for() {
  local column=2 sets
  [ "$1" != fedora ] || column=3
  shift
  sets=" $* "
  awk -v column="$column" -v sets="$sets" '!/^#/ && NF && index(sets, " " $1 " ") && $column != "-" { print $column }' \
    "$root_dir/scripts/packages.txt"
}

# missing_packages SYSTEM SET...: those of packages_for that are not installed.
missing_packages() {
  local package
  packages_for "$@" | while read -r package; do
    case "$1" in
      debian) dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package" ;;
      fedora) rpm -q --whatprovides "$package" >/dev/null 2>&1 || echo "$package" ;;
    esac
  done
}

# have_installed SYSTEM PACKAGES REASON: says how to install the packages, one text, and ends the script.
have_installed() {
  local command
  case "$1" in
    debian) command="apt-get install --no-install-recommends" ;;
    fedora) command="dnf install" ;;
    *) command="Debian's names:" ;;
  esac
  say "$3; have them installed as root, then start this again:"
  printf '   %s %s\n' "$command" "$2" >&2
  [ "$1" != fedora ] || say "(ffmpeg with libx265, ffmpeg-devel and x264-devel are in RPM Fusion)"
  exit 1
}

# check_packages SET...: where apt and root's rights are not at hand, says what is missing. The script ends when something is
# known to be missing, and goes on where that cannot be known.
check_packages() {
  local system missing
  system=$(package_system)
  if [ "$system" = other ]; then
    say "this system's packages are not known here. What is needed, by the names of Debian and of Fedora:"
    printf '   %s\n' "$(packages_for debian "$@" | paste -sd ' ')" "$(packages_for fedora "$@" | paste -sd ' ')" >&2
  elif ! can_install; then
    missing=$(missing_packages "$system" "$@" | paste -sd ' ')
    [ -z "$missing" ] || have_installed "$system" "$missing" "some packages are missing"
  fi
}

can_install() { [ "$(package_system)" = debian ] && [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; }

# install_packages SET...: installs what is missing, where that can be done.
install_packages() {
  local packages
  can_install || return 0
  mapfile -t packages < <(packages_for debian "$@")
  need_packages "${packages[@]}"
}

# has_system_ffmpeg: whether the system's own FFmpeg libraries are new enough to build with.
has_system_ffmpeg() { pkg-config --atleast-version=62 libavcodec 2>/dev/null; }

is_debian() { (. "${VEYRIN_OS_RELEASE:-/etc/os-release}" 2>/dev/null && [ "${ID:-}" = debian ]); }

# has_debian_sources: whether Debian's source packages can be had.
has_debian_sources() { command -v apt-get >/dev/null && { [ -n "${VEYRIN_DEBIAN_MIRROR:-}" ] || is_debian; }; }

# provide_ffmpeg: builds the FFmpeg libraries where Debian's sources can be had; elsewhere the system's have to do.
provide_ffmpeg() {
  local system found
  if has_debian_sources; then
    "$root_dir/scripts/setup-ffmpeg"
  elif has_system_ffmpeg; then
    say "FFmpeg: the system's libraries ($(pkg-config --modversion libavcodec))"
  elif [ ! -e "$cache_dir/ffmpeg-linux/.complete" ]; then
    system=$(package_system)
    found=$(pkg-config --modversion libavcodec 2>/dev/null) || found=
    # Where they are installed and too old, installing them again would not help.
    [ -z "$found" ] || die "the system's FFmpeg is too old: libavcodec is $found, not 62 or newer (FFmpeg 8). With apt-get and the package debian-archive-keyring it can be built from the Debian mirror that VEYRIN_DEBIAN_MIRROR names"
    have_installed "$system" "$(packages_for "$system" ffmpeg | paste -sd ' ')" \
      "FFmpeg's libraries, version 8 or newer, are missing"
  fi
}

# provide_x265: builds x265 with cmake, which is in the set `program`: where that is still being installed, this waits.
provide_x265() {
  if has_debian_sources; then
    install_packages program
    "$root_dir/scripts/setup-x265"
  else
    say "x265 is built from Debian's sources only and is left out: there will be no two-view encoder without a graphics card"
  fi
}
