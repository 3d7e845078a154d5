#!/bin/sh
# Stand-in of the scheduler script that restarts the radios and rebuilds the
# timed jobs. Records its arguments; "restart" counts the restarts in
# "/var/run/wifi_restarts" and writes the schedule it would install
# ("/var/run/vespin_cron.tab": the ACS windows and the LED schedule from
# "vespin_wifi").
root=${VESPIN_ROOT:-}
echo "$*" >> "$root/var/log/$(basename "$0").args"
case "${1:-}" in
  restart)
    count=$(cat "$root/var/run/wifi_restarts" 2>/dev/null || echo 0)
    echo $((count + 1)) > "$root/var/run/wifi_restarts"
    tab="$root/var/run/vespin_cron.tab"
    : > "$tab"
    if command -v uci >/dev/null 2>&1; then
      for band in 2g 5g; do
        if [ "$(uci -q get "vespin_wifi.$band.acs_enabled")" = 1 ]; then
          echo "acs $band $(uci -q get "vespin_wifi.$band.acs_begin_time")-$(uci -q get "vespin_wifi.$band.acs_end_time")" >> "$tab"
        fi
      done
      if [ "$(uci -q get vespin_wifi.led.enabled)" = 1 ]; then
        echo "led off $(uci -q get vespin_wifi.led.begin_time)-$(uci -q get vespin_wifi.led.end_time)" >> "$tab"
      fi
    fi ;;
esac
exit 0
