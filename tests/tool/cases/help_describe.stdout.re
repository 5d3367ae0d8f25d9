(?s)\Ausage: qffx describe (?=.*--shaders DIR)(?=.*--templates DIR)(?=.*--verbose)(?=.*--help)
