\Aqffx generate: /nonexistent/effect\.fx: cannot open file
