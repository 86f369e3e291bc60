def pytest_configure(config):
    config.addinivalue_line("markers", "long: takes many minutes")
