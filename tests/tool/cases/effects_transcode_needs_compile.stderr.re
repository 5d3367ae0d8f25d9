\Aqffx effects: --transcode goes with --compile
