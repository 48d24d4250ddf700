# The copy has the original's permissions.
for mode in 600 640 755 444; do
    cp plain.png mode-$mode.png
    chmod $mode mode-$mode.png
    "$NULLPRINT" --scrub mode-$mode.png
    stat -c %a "mode-$mode (scrubbed).png"
done
