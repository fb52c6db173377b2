#!/usr/bin/env bash
# Runs the README's two commands in a bare Debian of the named release, made below build/ and removed at the end:
# bare.sh bookworm, bare.sh trixie. Needs root and the Debian mirror that apt is set up with.
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$project_root"

release=${1:-}
[ -n "$release" ] || fail "name a Debian release, for instance trixie"
[ "$(id -u)" -eq 0 ] || impossible "needs root, to make the devices and to change the root folder"
need_packages debootstrap debian-archive-keyring util-linux

# A machine that has never updated its indices does not know which of its sources is Debian's.
mirrors() {
  apt-get indextargets --format '$(ORIGIN)/$(LABEL) $(REPO_URI)' 'Created-By: Packages' | sed -n 's,^Debian/Debian ,,p'
}
[ -n "$(mirrors)" ] || apt_get update || true
mirror=$(mirrors)
mirror=${mirror%%$'\n'*}
[ -n "$mirror" ] || impossible "apt is set up with no mirror of Debian"
# apt has its own settings for a proxy, which debootstrap does not read.
eval "$(apt-config shell proxy Acquire::http::Proxy)"
[ -z "${proxy:-}" ] || export http_proxy=${http_proxy:-$proxy}

log=build/bare-$release.log
system=$project_root/build/bare-$release
child=
clean_up() {
  [ -z "$child" ] || kill -KILL "$child" || true # and with it all that it started
  wait
  rm -rf --one-file-system "$system"
}
trap clean_up EXIT

# in_private COMMAND...: runs it in new mount and PID namespaces, which end with it, however it ends.
in_private() {
  local status=0
  unshare --pid --fork --kill-child --mount --propagation private "$@" &
  child=$!
  wait "$child" || status=$?
  child=
  return "$status"
}

started=$SECONDS
in_private true || impossible "may not make mount and PID namespaces"
rm -rf --one-file-system "$system"
in_private debootstrap --variant=minbase "$release" "$system" "$mirror" >"$log" 2>&1 || {
  tail -n 3 "$log" >&2
  impossible "could not make a bare $release from apt's mirror; all of it is in $log"
}
# How this machine reaches the network.
cp -L /etc/resolv.conf /etc/hosts "$system/etc/"
apt-config dump | grep -E '^Acquire::(https?|Check-[A-Za-z-]+|ForceIPv[46]|Retries)[: ]' \
  >"$system/etc/apt/apt.conf.d/99machine" || true # there may be none
echo 'Dpkg::Use-Pty "0";' >"$system/etc/apt/apt.conf.d/99bare" # there is no terminal
[ ! -f /etc/ssl/certs/ca-certificates.crt ] ||
  install -D -m 644 /etc/ssl/certs/ca-certificates.crt "$system/etc/ssl/certs/ca-certificates.crt"
# It does not outlive a crash, so nothing waits for the disk.
echo force-unsafe-io >"$system/etc/dpkg/dpkg.cfg.d/99bare"
mkdir "$system/tessary"
tar -cf - --exclude=./build --exclude=./.git . | tar -xf - --no-same-owner -C "$system/tessary"
awk '/^```sh$/ { inside = 1; next } inside && /^```/ { exit } inside' README.md >"$system/tessary/two-commands"
grep -q scripts/test.sh "$system/tessary/two-commands" || fail "the README's first block is not the two commands"
printf 'A bare %s, made in %d s.\n' "$release" $((SECONDS - started))

proxies=()
for name in http_proxy https_proxy no_proxy; do
  [ -z "${!name:-}" ] || proxies+=("$name=${!name}")
done
in_private --mount-proc="$system/proc" chroot "$system" \
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root "${proxies[@]}" \
  bash -euc 'cd /tessary && . ./two-commands && g++ --version | head -n 1' ||
  fail "the README's two commands do not both pass in a bare $release"
