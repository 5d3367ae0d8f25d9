\Ausage: qffx <command>
