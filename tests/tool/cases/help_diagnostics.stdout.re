(?s)\Ausage: qffx diagnostics (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
