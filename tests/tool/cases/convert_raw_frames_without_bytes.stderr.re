m101 frames 1 pixel wide hold no bytes
