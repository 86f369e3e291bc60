"""The API requests that the site is to see, byte for byte, written down independently of the program."""

import hashlib

API = "http://api.velvetharbor.example/api.php?apikey="
FIRST_KEY = "Rv8nTq2LxW5d"


def encoded(text):
    """Blanks become "+"; all but digits and ASCII letters become "%" and the code in capitals, without a leading 0."""
    return "".join(c if c.isascii() and c.isalnum() else "+" if c == " " else f"%{ord(c):X}" for c in text)


def api_request(key, method, *parameters):
    query = "".join(f"&{encoded(name)}={encoded(value)}" for name, value in parameters)
    return f"GET {API}{key}&method={method}{query} HTTP/1.0\r\n\r\n".encode("ascii")


def hashed(password):
    return hashlib.md5(password.encode("cp1252")).hexdigest()


def login(username, password):
    return api_request(FIRST_KEY, "vh.auth.login", ("username", username), ("md5password", hashed(password)))


def galleries(key):
    return api_request(key, "vh.getGalleries", ("withcategories", "yes"))


def rotation(key, method, size, source):
    """`source` is the parameter for the member, or the gallery."""
    ratio = f"{round(size[0] / size[1], 5):.7g}"
    return api_request(
        key, method, ("withar", ratio), ("withtags", "no"), ("sort", "desc"), ("minpoints", "0"),
        ("order", "randomize"), ("page", "1"), ("perpage", "1"), source, ("QY_Version", "1.0.112"),
    )  # fmt: skip
