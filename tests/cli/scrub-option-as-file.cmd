# Only the first argument is an option.
"$NULLPRINT" --scrub plain.png --inspect
