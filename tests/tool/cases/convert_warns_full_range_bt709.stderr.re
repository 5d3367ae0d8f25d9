warning: --range full --colourimetry bt709: the RGB to Y'CbCr table writes legal levels
