pytest_plugins = ["canbench.fixtures"]
