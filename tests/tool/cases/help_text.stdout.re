(?s)\Ausage: qffx text (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
