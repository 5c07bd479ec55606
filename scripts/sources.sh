# Fetches and patches Debian source packages for the scripts that build libraries into the cache. Sourced after lib.sh,
# never run.
# shellcheck shell=bash

patches_dir=$root_dir/scripts/patches

# cache_key NAMES-AND-OPTIONS...: a short name for everything that a build in the cache depends on.
cache_key() { printf '%s\n' "$@" | sha256sum | cut -c1-12; }

# open_sources SUITE FOLDER: prepares to fetch from the suite, whatever suite the machine runs; package lists go to FOLDER.
open_sources() {
  local suite=$1 folder=$2 mirror
  mirror=$(debian_mirror)
  mkdir -p "$folder/lists/partial" "$folder/cache/archives/partial"
  echo "deb-src [check-valid-until=no] $mirror $suite main" >"$folder/sources.list"
  apt_options=(
    -o "Dir::Etc::sourcelist=$folder/sources.list" -o Dir::Etc::sourceparts=-
    -o "Dir::State::lists=$folder/lists" -o "Dir::Cache=$folder/cache"
    -o Acquire::Retries=4 -o Acquire::Check-Valid-Until=false -o APT::Sandbox::User=root
  )
  again quietly apt-get -qq "${apt_options[@]}" update || die "the source lists of Debian $suite could not be read"
}

# fetch_source PACKAGE PIN DIGEST FOLDER: unpacks the upstream tarball into the folder, which must not exist yet. If the
# mirror no longer has the pinned version, the newest one is used.
fetch_source() {
  local package=$1 pin=$2 digest=$3 folder=$4 tarball taken=$2
  if ! quietly apt-get -qq "${apt_options[@]}" source --download-only --tar-only "$package=$pin"; then
    say "$package $pin is no longer available; using the newest version"
    again quietly apt-get -qq "${apt_options[@]}" source --download-only --tar-only "$package" ||
      die "the source of $package could not be fetched from the Debian mirror"
    taken=newest
  fi
  tarball=$(ls "${package}"_*.orig.tar.*)
  if [ "$taken" = "$pin" ]; then
    echo "$digest  $tarball" | sha256sum -c --quiet || die "$tarball does not have the expected digest"
  fi
  say "source: $tarball"
  mkdir "$folder" && tar -xf "$tarball" -C "$folder" --strip-components=1
}

# apply_patch FOLDER PATCH: applies the patch without fuzz; ends the script if any part of it does not fit.
apply_patch() {
  quietly patch --batch --forward --fuzz=0 --strip=1 --directory="$1" --input="$patches_dir/$2" ||
    die "scripts/patches/$2 does not fit this version of the source"
}
