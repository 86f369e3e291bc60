"""The pages of the site, for a browser: a WSGI application over the same catalogue and members that the API serves."""

from harbor.web.app import create_app

__all__ = ["create_app"]
