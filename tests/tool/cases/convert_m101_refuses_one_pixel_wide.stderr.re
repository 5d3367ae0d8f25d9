m101 cannot hold a frame 1 pixel wide
