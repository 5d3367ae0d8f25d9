(?s)\Ausage: qffx effects (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
