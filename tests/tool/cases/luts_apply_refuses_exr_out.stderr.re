this command writes .png files, not .exr
