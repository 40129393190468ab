#!/usr/bin/env bash
# Installs every Debian package that building, testing, fuzzing and the demo need.
# Idempotent: does nothing when all are present. Works as root or through sudo.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libfmt-dev nlohmann-json3-dev libcli11-dev
  zlib1g-dev libsqlite3-dev uuid-dev libgmime-3.0-dev libpcre2-dev
  libarchive-dev libssl-dev
  libxlsxwriter-dev libgsf-1-dev libxml2-dev python3-openpyxl python3-xlrd
  libcurl4-openssl-dev dovecot-imapd dovecot-pop3d openssl isync
  libpoppler-cpp-dev liblitehtml-dev libgumbo-dev libpango1.0-dev libcairo2-dev libjpeg-dev libqpdf-dev
  fonts-dejavu-core fonts-noto-cjk p7zip-full
  python3-olefile libemail-outlook-message-perl libemail-address-perl poppler-utils python3-aiosmtpd
  time git libjemalloc-dev
  libsoci-dev libboost-dev postgresql mariadb-server mariadb-client odbc-postgresql unixodbc sqlite3
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then sudo=(); else sudo=(sudo); fi
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
