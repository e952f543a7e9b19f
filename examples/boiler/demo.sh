#!/bin/sh
# What can be done with a form alone: a simulated boiler plant and its registers, settings, log and
# oscillogram, all from boiler.form.
# usage: demo.sh ORVIXMB [SECONDS]; SECONDS is how long to watch, 5 unless given
set -eu
orvixmb=$1
seconds=${2:-5}
cd "$(dirname "$0")"
folder=$(mktemp -d)
port=$folder/boiler
trap 'kill "$device" 2>/dev/null || true; rm -rf "$folder"' EXIT

# show ARGS: the command as a user would type it, then what it prints.
show() {
  printf '\n$ orvixmb'
  for word; do
    case $word in
      *' '*) printf " '%s'" "$word" ;;
      *) printf ' %s' "${word#"$folder/"}" ;;
    esac
  done
  echo
  "$orvixmb" "$@"
}

# some LINES: the first ones of what comes, and a sign that there were more.
some() {
  sed "$1q" | sed "\$s/\$/  .../"
  cat >/dev/null
}

echo "\$ orvixmb simulate boiler.form --link boiler &"
"$orvixmb" simulate boiler.form --link "$port" --baud 19200 >"$folder/ready" &
device=$!
tries=100
while [ ! -s "$folder/ready" ]; do
  tries=$((tries - 1))
  [ $tries -gt 0 ] && kill -0 "$device" || { echo "the simulated plant did not start" >&2; exit 1; }
  sleep 0.1
done

show read boiler.form --letter Boiler --port "$port"
show read boiler.form --names FeedTemp,Pump1Speed,Alarms --port "$port" --watch 0.5 \
  --count $((seconds * 2 + 1))
show write boiler.form --letter Settings SetPoint=82.5 "Recipe=SPRING 1" --port "$port"
show save boiler.form --letter Settings "$folder/settings.json" --port "$port"
show write boiler.form --letter Settings SetPoint=75 RecipeHold=30 --port "$port"
show diff boiler.form --letter Settings "$folder/settings.json" --port "$port"
show restore boiler.form --letter Settings "$folder/settings.json" --port "$port" --yes
show file boiler.form --client Controller --file 1 --structure Service --records 4 --port "$port"
show identity boiler.form --client Controller --port "$port"
show log boiler.form Events --structure Event --port "$port" | some 8
picture=${TMPDIR:-/tmp}/orvix_oscillogram.svg
show oscillogram boiler.form Captures --structure Sample --port "$port" --svg "$picture" |
  some 7
printf '\nPicture of the oscillogram: %s\n' "$picture"
