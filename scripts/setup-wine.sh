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
# Every i386 package wine32 can pull in; those of Multi-Arch "same" whose
# amd64 copy is installed at another version are pinned, on both
# architectures, to the version that i386 can have (libpcre2 at 10.42-1 in
# the case first met), with the packages built beside them (a -dev package).
closure=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
            --no-replaces --no-enhances wine32:i386 2>/dev/null | grep -oE '^[a-z0-9][a-z0-9.+-]*:i386' | sort -u)
status=$(dpkg-query -W -f='${Package} ${source:Package} ${Version} ${db:Status-Abbrev}\n' 2>/dev/null)
for n in $closure; do
  base=${n%:i386}
  va=$(installed "$base"); [ -n "$va" ] || continue
  vi=$(candidate "$n")
  { [ -n "$vi" ] && [ "$vi" != "(none)" ] && [ "$va" != "$vi" ]; } || continue
  # (grep reads the whole text: grep -q would end the pipe early and
  # pipefail would count the writer's SIGPIPE as a failure.)
  [ "$(apt-cache show "$n=$vi" 2>/dev/null | grep -c '^Multi-Arch: same')" -gt 0 ] || continue
  pin[$n]=$vi; pin[$base]=$vi
  src=$(dpkg-query -W -f='${source:Package}' "$base" 2>/dev/null)
  for sib in $(printf '%s\n' "$status" | awk -v s="$src" -v v="$va" '$2==s && $3==v && $4 ~ /^ii/ {print $1}'); do
    [ "$sib" = "$base" ] && continue
    [ "$(apt-cache madison "$sib" 2>/dev/null | grep -c " $vi ")" -gt 0 ] && pin[$sib]=$vi
  done
done
args=()
for k in "${!pin[@]}"; do args+=("$k=${pin[$k]}"); done
echo "setup-wine: pinning ${#args[@]} package versions: ${args[*]}"
# apt's resolver gives up on long i386 chains that it would install when
# asked by name: name each i386 package it reports as not installable, and
# try again.
targets=(wine wine32:i386)
for round in $(seq 1 10); do
  if out=$($SUDO apt-get install -s --no-install-recommends --allow-downgrades "${args[@]}" "${targets[@]}" 2>&1); then
    if $SUDO apt-get install -y -qq --no-install-recommends --allow-downgrades "${args[@]}" "${targets[@]}"; then
      have_wine && { echo "setup-wine: installed wine and wine32:i386 (${#targets[@]} packages named)"; exit 0; }
    fi
    break
  fi
  added=0
  for n in $(printf '%s\n' "$out" | grep '^ ' | grep -oE '[a-z0-9][a-z0-9.+-]*:i386' | sort -u); do
    [ -n "${pin[$n]:-}" ] && continue
    case " ${targets[*]} " in *" $n "*) continue ;; esac
    targets+=("$n"); added=1
  done
  if [ $added -eq 0 ]; then
    printf '%s\n' "$out" | grep -E '^ |^E:' | head -20
    break
  fi
done

echo "setup-wine: FAILED: wine32:i386 could not be installed; the wine tests will not run"
exit 1
