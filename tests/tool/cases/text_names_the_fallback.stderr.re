Font "No Such Family" not found; using "
