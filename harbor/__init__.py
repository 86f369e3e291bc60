"""Harbor: the service that Quillory's wallpapers come from, at home and in the tests."""
