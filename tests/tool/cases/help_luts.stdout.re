(?s)\Ausage: qffx luts (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
