truncated frame: 0 of 1610612736 bytes
