# Copies never replace anything: neither a copy, nor a folder, nor a link that leads nowhere.
"$NULLPRINT" --scrub plain.png
"$NULLPRINT" --scrub plain.png
mkdir "plain (scrubbed 3).png"
ln -s nowhere "plain (scrubbed 4).png"
"$NULLPRINT" --scrub plain.png
"$NULLPRINT" --scrub "plain (scrubbed).png"
ls -F
