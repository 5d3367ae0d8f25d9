(?s)\Ausage: qffx compile (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
