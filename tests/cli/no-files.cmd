# Without files there is nothing to print.
"$NULLPRINT" --scrub && "$NULLPRINT" --inspect && "$NULLPRINT" --reveal && echo "status 0"
