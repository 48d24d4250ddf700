"$NULLPRINT" --inspect photo.jpg plain.png south.jpg marked.jpg broken.jpg missing.jpg
