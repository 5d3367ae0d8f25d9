(?s)\Ausage: qffx convert (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
