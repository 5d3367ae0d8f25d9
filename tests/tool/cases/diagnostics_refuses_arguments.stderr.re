\Aqffx diagnostics: takes no arguments
