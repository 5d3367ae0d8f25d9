frame 1: malformed y4m frame header
