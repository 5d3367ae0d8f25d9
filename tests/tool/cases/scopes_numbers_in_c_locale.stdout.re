(?m)^  luma   levels +\d+\.\. *\d+, mean \d+\.\d$
