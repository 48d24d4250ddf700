"$NULLPRINT" --selftest
"$NULLPRINT" --selftest ignored.jpg
