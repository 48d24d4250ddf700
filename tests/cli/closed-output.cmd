# Without a standard output the copy is written all the same, and nothing is written into it.
"$NULLPRINT" --scrub photo.jpg
"$NULLPRINT" --scrub photo.jpg >&- 2>&- <&-
cmp "photo (scrubbed).jpg" "photo (scrubbed 2).jpg" && echo same
