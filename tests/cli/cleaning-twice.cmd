# A clean copy cleans to itself.
"$NULLPRINT" --scrub photo.jpg plain.png
"$NULLPRINT" --scrub "photo (scrubbed).jpg" "plain (scrubbed).png"
cmp "photo (scrubbed).jpg" "photo (scrubbed) (scrubbed).jpg" && echo same
cmp "plain (scrubbed).png" "plain (scrubbed) (scrubbed).png" && echo same
