# The first line shows the argument as typed, the second the whole path of the copy.
mkdir -p sub/deep
cp plain.png "sub/two words.PNG"
cp plain.png sub/-dash.png
cp plain.png "sub/dots.in.name.png"
cp plain.png sub/.png
"$NULLPRINT" --scrub ./plain.png "sub/two words.PNG" sub//dots.in.name.png sub/deep/../../plain.png
"$NULLPRINT" --scrub "$PWD/plain.png" sub/.png
cd sub
"$NULLPRINT" --scrub -dash.png ../plain.png
