"""The requests that the site is to see, byte for byte, written down independently of the program."""

import hashlib

API = "http://api.velvetharbor.example/api.php?apikey="
FIRST_KEY = "Rv8nTq2LxW5d"
VERSION = ("QY_Version", "1.0.112")


def encoded(text):
    """Blanks become "+"; all but digits and ASCII letters become "%" and the code in capitals, without a leading 0."""
    plain = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
    return "".join(c if c in plain else "+" if c == " " else f"%{ord(c):X}" for c in text)


def api_request(key, method, *parameters):
    query = "".join(f"&{encoded(name)}={encoded(value)}" for name, value in parameters)
    return f"GET {API}{key}&method={method}{query} HTTP/1.0\r\n\r\n".encode("ascii")


def hashed(password):
    return hashlib.md5(password.encode("cp1252")).hexdigest()


def login(username, password):
    return api_request(FIRST_KEY, "vh.auth.login", ("username", username), ("md5password", hashed(password)))


def galleries(key):
    return api_request(key, "vh.getGalleries", ("withcategories", "yes"))


def rotation(key, method, ratio, source, rating="0", startid=None):
    """`source` holds the last parameters: the member, the tag, or the gallery and the category."""
    order = [("order", "randomize")] if startid is None else [("startid", startid), ("order", "freshness")]
    return api_request(
        key, method, ("withar", ratio), ("withtags", "no"), ("sort", "desc"), ("minpoints", rating), *order,
        ("page", "1"), ("perpage", "1"), *source, VERSION,
    )  # fmt: skip


def image(number, size, filename):
    host = "images.velvetharbor.example"
    lines = [
        f"GET /dl/inline/{number}/{size[0]}x{size[1]}/{filename} HTTP/1.0",
        "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, application/vnd.ms-powerpoint, "
        "application/vnd.ms-excel, application/msword, application/x-shockwave-flash, */*",
        f"Referer: {host}",
        "User-Agent: Mozilla/4.0 (compatible; MSIE 5.5; Windows 98; Win 9x 4.90)",
        f"Host: {host}",
        "",
        "",
    ]
    return "\r\n".join(lines).encode("ascii")
