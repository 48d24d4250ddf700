# What the copies still say.
"$NULLPRINT" --scrub Report.docx Letter.dotx text.pptx
"$NULLPRINT" --reveal "Report (scrubbed).docx" "Letter (scrubbed).dotx"
"$NULLPRINT" --inspect "Report (scrubbed).docx" "Letter (scrubbed).dotx"
