(?s)\Ausage: qffx generate (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
