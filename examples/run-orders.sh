#!/usr/bin/env bash
# Pulls order numbers, amounts, dates and customers out of the order mails in
# examples/orders with examples/orders.json: demo-out/orders/orders.csv and orders.xlsx.
# Usage: examples/run-orders.sh PATH_TO_QUILLON
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf demo-out/orders
mkdir -p demo-out
export QUILLON_HOME=$PWD/demo-out/home

"$quillon" run examples/orders.json
status=$?
[ "$status" -le 1 ] || exit "$status"

echo
echo "== demo-out/orders/orders.csv"
cat demo-out/orders/orders.csv
echo
ls -l demo-out/orders
exit "$status"
