(?s)\Ausage: qffx watch (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
