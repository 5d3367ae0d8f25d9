\Aqffx [0-9]+\.[0-9]+\.[0-9]+ \(libqffxresources [0-9]+\.[0-9]+\.[0-9]+\)
\Z
