# What is not a file with bytes is not a picture, and is not waited for.
mkfifo pipe.jpg
mkdir folder.jpg
ln -s /dev/zero zero.jpg
ln -s loop.jpg loop.jpg
ln -s nowhere.jpg dangling.jpg
: > empty.jpg
"$NULLPRINT" --scrub pipe.jpg folder.jpg zero.jpg loop.jpg dangling.jpg empty.jpg
"$NULLPRINT" --inspect pipe.jpg folder.jpg zero.jpg empty.jpg
"$NULLPRINT" --reveal pipe.jpg folder.jpg empty.jpg | grep "^  "
ls -F
