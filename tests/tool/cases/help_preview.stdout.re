(?s)\Ausage: qffx preview (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
