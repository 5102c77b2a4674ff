#!/usr/bin/env bash
# Installs every Debian package the project needs.  Quiet, idempotent.
set -euo pipefail
PACKAGES=(
  build-essential cmake pkg-config clang libclang-rt-14-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  nlohmann-json3-dev libsnmp-dev snmpd snmp
  lldpd liblldpctl-dev iproute2 procps python3-pytest snmptrapd lintian
)
missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  echo "setup: installing ${missing[*]}"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
