(?s)\Ausage: qffx scopes (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
