# The whole copy: every object is there, in the clear.
"$NULLPRINT" --scrub letter.pdf
tr -cd '\11\12\40-\176' <"letter (scrubbed).pdf"
