the y4m header has no valid size
