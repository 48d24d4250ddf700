"$NULLPRINT" --version
"$NULLPRINT" --version extra
