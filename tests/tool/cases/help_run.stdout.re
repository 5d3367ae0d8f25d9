(?s)\Ausage: qffx run (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
