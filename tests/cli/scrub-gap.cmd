# A copy that was removed leaves its name free.
touch "plain (scrubbed 2).png"
"$NULLPRINT" --scrub plain.png plain.png
