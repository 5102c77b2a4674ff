#!/usr/bin/env bash
# The main job: installs what is missing, builds, then serves the LLDP-MIB of a
# topology (default: the embedded example) from a private snmpd on loopback.
# Usage: scripts/run.sh [TOPOLOGY.json] [UDP_PORT]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh build >/dev/null
exec bash scripts/run-agent.sh "$@"
