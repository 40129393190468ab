#!/usr/bin/env bash
# The speed figures of the four common jobs, each timed beside its anchor on the same mbox
# file, the two alternating so that both see the same machine state:
#   eml          mbox -> one .eml per message, named from its headers   | git mailsplit --mboxrd
#   fields       fields 000203050813 -> CSV                             | Python's email package
#   attachments  every attachment -> one folder, clashing names renamed | Python's email package
#   bounces      bounced-mail filter -> CSV of the bounces              | (none)
# Every timing includes deleting the previous run's output, as a user's rerun would. Prints per job the median wall
# time of each side, messages/s, the ratio and the peak resident memory.
# Usage: bench/speed.sh MBOX [QUILLON] [WORKDIR]
#   QUILLON defaults to build/quillon; WORKDIR (default a temporary folder) holds the jobs
#   and the outputs. REPEAT (default 3) sets the rounds; JOBS="eml fields" picks jobs.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mbox=$(realpath "$1")
quillon=$(realpath "${2:-build/quillon}")
work=$(realpath -m "${3:-$(mktemp -d)}")
repeat=${REPEAT:-3}
jobs=${JOBS:-eml fields attachments bounces}
mkdir -p "$work"
[ -x /usr/bin/time ] || { echo "GNU time is missing: run scripts/install-deps.sh" >&2; exit 2; }
messages=$(grep -c '^From ' "$mbox" || true)

job_file() {  # job name -> the JSON job, written once
  local name=$1 file="$work/$1.json" out="$work/out-$1"
  case $name in
    eml) target="{ \"kind\": \"stiMailTarSingleFiles\", \"Name\": \"Message files\",
          \"Options.TargetFolder\": \"$out\", \"Options.DuplicatedFilesAction\": \"dfRename\" }" ;;
    fields) target="{ \"kind\": \"stiMailTarEmailParts\", \"Name\": \"Fields\", \"FieldsStr\": \"000203050813\",
          \"TargetFormat\": \"ffColCsv\", \"TargetFilename\": \"$out/fields.csv\" }" ;;
    attachments) target="{ \"kind\": \"stiMailTarAttachments\", \"Name\": \"Attachments\",
          \"Options.TargetFolder\": \"$out\", \"Options.DuplicatedFilesAction\": \"dfRename\" }" ;;
    bounces) target="{ \"kind\": \"stiMailPasBounceFilter\", \"Name\": \"Bounces\", \"children\": [
          { \"kind\": \"stiMailPasFilterTrue\", \"children\": [
            { \"kind\": \"stiMailTarEmailParts\", \"Name\": \"Bounce list\", \"FieldsStr\": \"0308262728\",
              \"TargetFormat\": \"ffColCsv\", \"TargetFilename\": \"$out/bounces.csv\" } ] } ] }" ;;
  esac
  cat >"$file" <<JSON
{ "kind": "stiMailSrcMbox", "Name": "Benchmark mailbox", "SourceOptions.Filename": "$mbox",
  "children": [ $target ] }
JSON
  echo "$file"
}

anchor_command() {  # job name -> the anchor's command line, or nothing
  local out="$work/anchor-$1"
  case $1 in
    eml) echo "git mailsplit --mboxrd -o$out $mbox" ;;
    fields) echo "python3 $here/py_fields_csv.py $mbox $out/fields.csv" ;;
    attachments) echo "python3 $here/py_attachments.py $mbox $out" ;;
  esac
}

# Runs one side once: clears its output, times the command, appends "seconds peak_kb".
timed() {
  local out=$1 results=$2; shift 2
  local start end
  start=$(date +%s.%N)
  rm -rf "$out"; mkdir -p "$out"
  /usr/bin/time -f %M -o "$work/peak.txt" "$@" >"$work/last-run.txt" 2>&1 || {
    echo "failed: $*" >&2; tail -5 "$work/last-run.txt" >&2; }
  end=$(date +%s.%N)
  echo "$(awk -v a="$start" -v b="$end" 'BEGIN{printf "%.3f", b-a}') $(tail -1 "$work/peak.txt")" >>"$results"
}

median() { sort -n -k1,1 "$1" | awk '{ s[NR]=$1; m=$2>m?$2:m } END { printf "%s %s\n", s[int((NR+1)/2)], m }'; }

printf '%-12s %10s %10s %10s %10s %8s %10s\n' job quillon_s msg/s anchor_s msg/s ratio peak_MiB
for name in $jobs; do
  job=$(job_file "$name")
  anchor=$(anchor_command "$name")
  rm -f "$work/$name.ours" "$work/$name.anchor"
  for ((round = 0; round < repeat; round++)); do
    rm -rf "$work/home-$name"
    QUILLON_HOME="$work/home-$name" timed "$work/out-$name" "$work/$name.ours" "$quillon" run --quiet "$job"
    [ -z "$anchor" ] || timed "$work/anchor-$name" "$work/$name.anchor" $anchor
  done
  read -r ours peak < <(median "$work/$name.ours")
  if [ -n "$anchor" ]; then read -r theirs _ < <(median "$work/$name.anchor"); else theirs=0; fi
  awk -v j="$name" -v n="$messages" -v a="$ours" -v b="$theirs" -v kb="$peak" 'BEGIN {
    printf "%-12s %10.2f %10.0f %10s %10s %8s %10.1f\n", j, a, n / a, (b > 0 ? sprintf("%.2f", b) : "-"),
      (b > 0 ? sprintf("%.0f", n / b) : "-"), (b > 0 ? sprintf("%.2f", a / b) : "-"), kb / 1024 }'
done
