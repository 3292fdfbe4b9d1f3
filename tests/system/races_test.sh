#!/usr/bin/env bash
# races_test.sh VALGRIND PROGRAM: a short run of relaybird-console under helgrind, with mail waiting in
# the outbox and new mail in the inbox, so that the delivery worker and a pass work at the same time.
# Fails at any race that helgrind sees, in the program or in a library that it calls. ThreadSanitizer
# cannot stand in for it, as Debian's libraries are not built with it.
#
# No race is overlooked but those on the list that valgrind brings along for the C library. One complaint
# that is none of a race is: p11-kit, which libcurl's libraries need, destroys mutexes when the process ends
# that it initialises only when it is used.
set -euo pipefail
valgrind=$1
program=$2
messages=5

home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
outbox=$home/state/rbx/outbox
mkdir -p "$home"/config/rbx "$home"/Maildir/{new,cur,tmp} "$outbox"/{new,cur,tmp,failed}

cat >"$home/sendmail" <<END
#!/bin/sh
exec cat >>'$home/delivered'
END
chmod +x "$home/sendmail"
cat >"$home/config/rbx/rbx_prefs.ini" <<END
[default]
mstrFwdToAddress_num=1
mstrFwdToAddress_1=cell@phone.example
[mail]
address=me@here.example
sendmail=$home/sendmail
END
for ((i = 1; i <= messages; ++i)); do
  cat >"$home/Maildir/new/170000000$i.M1P1.host.example" <<END
From: "Ann, the sender" <ann@sender.example>
To: me@here.example
Subject: =?utf-8?q?item_$i?=
Content-Type: text/html; charset=utf-8

<p>The text of it</p>
END
  cat >"$outbox/new/160000000$i.M1P1.host.example" <<END
From: Me <me@here.example>
To: "Cell, mine" <cell@phone.example>
Subject: =?utf-8?q?left_$i?=
Message-ID: <left-$i@here.example>

The text of it
END
done

cat >"$home/overlooked" <<'END'
{
  p11-kit's end without a beginning
  Helgrind:Misc
  obj:*vgpreload_helgrind*
  obj:*/libp11-kit.so*
}
END

fail() {
  echo "$1" >&2
  cat "$home/output" "$home/races" >&2
  exit 1
}

status=0
printf '%s\n' 'answer OK Yes OK' test 'wait idle 100' quit |
  env -i HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_STATE_HOME="$home/state" LC_ALL=C.UTF-8 \
    PATH="$PATH" "$valgrind" --tool=helgrind --error-exitcode=9 --child-silent-after-fork=yes \
    --suppressions="$home/overlooked" --log-file="$home/races" "$program" >"$home/output" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "the program ended with status $status under helgrind (9: it saw races)"
delivered=$(grep -c '^Message-ID: ' "$home/delivered")
[ "$delivered" -eq $((2 * messages)) ] || fail "$delivered messages were delivered, not $((2 * messages))"
echo "no races while $delivered messages were delivered"
