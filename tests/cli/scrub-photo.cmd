"$NULLPRINT" --scrub photo.jpg
"$NULLPRINT" --reveal "photo (scrubbed).jpg"
"$NULLPRINT" --inspect "photo (scrubbed).jpg"
