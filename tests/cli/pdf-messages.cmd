# Documents that are not cleaned.
"$NULLPRINT" --scrub locked.pdf scan.pdf missing.pdf
"$NULLPRINT" --reveal locked.pdf scan.pdf
ls *.pdf
