# What a document tells, and that its copy tells nothing.
"$NULLPRINT" --reveal letter.pdf
"$NULLPRINT" --inspect letter.pdf locked.pdf scan.pdf
"$NULLPRINT" --scrub letter.pdf
"$NULLPRINT" --reveal "letter (scrubbed).pdf"
"$NULLPRINT" --inspect "letter (scrubbed).pdf"
