# The name says that it is a picture, the content says which.
cp photo.jpg lying.png
cp plain.png LOUD.JPEG
"$NULLPRINT" --scrub lying.png LOUD.JPEG
"$NULLPRINT" --inspect "lying (scrubbed).png" "LOUD (scrubbed).JPEG"
