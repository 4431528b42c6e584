#!/usr/bin/env bash
# Installs Wine with its 32-bit part (wine32:i386), the test host of the
# Windows product. Safe to run again. Exit status 0 when wine and
# wine32:i386 are installed afterwards, 1 otherwise, with one line saying why.
#
# The i386 package lists of the mirror can be out of step with the amd64
# ones (a list that fails to download during a mirror sync, or a security
# update published for one architecture first). Multi-Arch "same" libraries
# must then carry one version on both architectures, so the fallback pins
# both to the version i386 can have, allowing the downgrade this needs,
# starting with the known case (libpcre2 of the bookworm release).
set -uo pipefail
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO=sudo
export DEBIAN_FRONTEND=noninteractive

have_wine() {
  command -v wine >/dev/null 2>&1 &&
    dpkg-query -W -f='${Status}' wine32:i386 2>/dev/null | grep -q 'install ok installed'
}

if have_wine; then
  echo "setup-wine: wine and wine32:i386 present"
  exit 0
fi

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  if ! $SUDO dpkg --add-architecture i386; then
    echo "setup-wine: FAILED: cannot add the i386 architecture; the wine tests will not run"
    exit 1
  fi
fi
$SUDO apt-get update -qq || echo "setup-wine: apt-get update reported errors; trying anyway"

if $SUDO apt-get install -y -qq --no-install-recommends wine wine32:i386; then
  have_wine && { echo "setup-wine: installed wine and wine32:i386"; exit 0; }
fi

echo "setup-wine: plain install failed; aligning amd64 libraries with their i386 versions"
candidate() { apt-cache policy "$1" 2>/dev/null | awk '/Candidate:/ {print $2; exit}'; }
installed() { dpkg-query -W -f='${Status} ${Version}' "$1" 2>/dev/null | awk '/install ok installed/ {print $4}'; }
declare -A pin=()
for p in libpcre2-8-0 libpcre2-16-0 libpcre2-32-0 libpcre2-posix3 libpcre2-dev; do
  [ -n "$(installed "$p")" ] && pin[$p]=10.42-1
  case $p in *-dev) ;; *) pin[$p:i386]=10.42-1 ;; esac
done
# Repeat while the resolver names i386 packages whose amd64 copy differs.
for round in $(seq 1 20); do
  args=()
  for k in "${!pin[@]}"; do args+=("$k=${pin[$k]}"); done
  if out=$($SUDO apt-get install -s --no-install-recommends --allow-downgrades "${args[@]}" wine wine32:i386 2>&1); then
    if $SUDO apt-get install -y -qq --no-install-recommends --allow-downgrades "${args[@]}" wine wine32:i386; then
      have_wine && { echo "setup-wine: installed wine and wine32:i386 (${#pin[@]} library versions pinned)"; exit 0; }
    fi
    break
  fi
  added=0
  for n in $(printf '%s\n' "$out" | grep -oE '[a-z0-9][a-z0-9.+-]*:i386' | sort -u); do
    base=${n%:i386}
    [ -n "${pin[$n]:-}" ] && continue
    vi=$(candidate "$n"); va=$(installed "$base")
    { [ -n "$vi" ] && [ "$vi" != "(none)" ] && [ -n "$va" ] && [ "$va" != "$vi" ]; } || continue
    pin[$n]=$vi; pin[$base]=$vi; added=1
    # Installed packages built from the same source at the same version
    # follow (a -dev package beside its library).
    src=$(dpkg-query -W -f='${source:Package}' "$base" 2>/dev/null)
    for sib in $(dpkg-query -W -f='${Package} ${source:Package} ${Version} ${db:Status-Abbrev}\n' 2>/dev/null |
                 awk -v s="$src" -v v="$va" '$2==s && $3==v && $4 ~ /^ii/ {print $1}'); do
      apt-cache madison "$sib" 2>/dev/null | grep -q " $vi " && pin[$sib]=$vi
    done
  done
  if [ $added -eq 0 ]; then
    echo "setup-wine: the resolver still refuses, with ${#pin[@]} versions pinned:"
    printf '%s\n' "$out" | grep -E '^ |^E:' | head -20
    break
  fi
done

echo "setup-wine: FAILED: wine32:i386 could not be installed; the wine tests will not run"
exit 1
