"$NULLPRINT" --reveal photo.jpg
