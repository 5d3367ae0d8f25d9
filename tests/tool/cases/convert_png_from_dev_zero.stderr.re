the input is not a PNG file
