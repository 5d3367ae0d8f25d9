Manager::compile\(\) : [0-9.]+ ms
