# Whoever reads a pipe gets what the file holds, control characters too.
"$NULLPRINT" --reveal escape.jpg | cat
"$NULLPRINT" --inspect escape.jpg
