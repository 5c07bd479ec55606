# Fetching and patching of Debian source packages, for the scripts that build libraries into the cache. Sourced after
# lib.sh, never run.
# shellcheck shell=bash

patches_dir=$root_dir/scripts/patches

# cache_key NAMES-AND-OPTIONS... : what a build in the cache depends on, as a short name.
cache_key() { printf '%s\n' "$@" | sha256sum | cut -c1-12; }

# open_sources SUITE FOLDER: gets ready to fetch from the suite, whatever the machine itself runs; FOLDER keeps the lists.
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

# fetch_source PACKAGE PIN DIGEST FOLDER: unpacks the upstream tarball into the folder, which must not exist. When the
# pinned version has left the mirror, the newest one is taken.
fetch_source() {
  local package=$1 pin=$2 digest=$3 folder=$4 tarball taken=$2
  if ! quietly apt-get -qq "${apt_options[@]}" source --download-only --tar-only "$package=$pin"; then
    say "$package $pin is no longer offered; taking the newest one"
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

# apply_patch FOLDER PATCH: all of the patch, exactly as it is, or nothing more is done.
apply_patch() {
  quietly patch --batch --forward --fuzz=0 --strip=1 --directory="$1" --input="$patches_dir/$2" ||
    die "scripts/patches/$2 does not fit this version of the source"
}
