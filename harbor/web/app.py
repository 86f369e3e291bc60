"""The application: what all pages share, and what keeps strangers' pages from acting in a member's name."""

import hmac
import secrets
from datetime import timedelta
from typing import Any

from flask import (Flask, Request, Response, abort, current_app, g, jsonify, redirect, render_template, request,
                   session, url_for)
from markupsafe import Markup
from werkzeug.exceptions import HTTPException

LOGGED_IN_FOR = timedelta(days=90)
# Nothing is fetched from anywhere else, nothing runs that is not a file of ours, and nobody frames these pages.
POLICY = ("default-src 'none'; img-src 'self'; style-src 'self'; script-src 'self'; connect-src 'self'; "
          "form-action 'self'; base-uri 'none'; frame-ancestors 'none'")
PICTURES_AT_ONCE = 8  # as many of the largest pictures may come in one form that works without script
LARGEST_FORM = 1 << 16  # bytes of everything that is typed; only a member's pictures may be more
SENDING = "/send"  # the path that they are sent to


class Asked(Request):
    max_form_memory_size = LARGEST_FORM


def create_app(site: Any) -> Flask:
    """`site` is the running harbor: its settings, catalogue, members, images and releases."""
    from harbor.web import account, pages, sending

    app = Flask("harbor.web", static_folder="static", template_folder="templates", root_path=__path())
    app.request_class = Asked
    app.config.update(
        SECRET_KEY=site.members.secret(),
        SESSION_COOKIE_NAME="harbor",
        SESSION_COOKIE_HTTPONLY=True,
        SESSION_COOKIE_SAMESITE="Lax",
        PERMANENT_SESSION_LIFETIME=LOGGED_IN_FOR,
        MAX_CONTENT_LENGTH=PICTURES_AT_ONCE * site.settings.upload_limit,
        SEND_FILE_MAX_AGE_DEFAULT=timedelta(hours=1),
    )
    app.extensions["harbor"] = site
    app.jinja_options = {"trim_blocks": True, "lstrip_blocks": True}
    app.before_request(_to_the_members_pages)
    app.before_request(_know_the_member)
    app.before_request(_check_the_token)
    app.after_request(_guard)
    app.context_processor(_everywhere)
    app.register_error_handler(HTTPException, _problem)
    for part in (pages, account, sending):
        app.register_blueprint(part.blueprint)
    return app


def __path() -> str:
    return __file__.rpartition("/")[0]


def the_site() -> Any:
    return current_app.extensions["harbor"]


def log_in(member: Any) -> None:
    session.clear()
    session.permanent = True
    # The seal changes with the password, so that a new password ends all sessions of the old one.
    session["member"], session["seal"] = member.name, member.seal


def need_login() -> Any:
    """The member who asks; others are sent to log in first, and come back."""
    if g.me is None:
        if request.method == "GET":
            abort(redirect(url_for("account.login", next=request.path)))
        abort(403, "Please log in first.")
    return g.me


def wants_json() -> bool:
    return request.accept_mimetypes.best_match(["text/html", "application/json"]) == "application/json"


def _to_the_members_pages() -> Any:
    """The members' pages have a host of their own in links; in the browser all pages live under one, as the cookie."""
    if request.host.startswith("members."):
        return redirect(f"http://{request.host.removeprefix('members.')}/members{request.full_path.rstrip('?')}")
    return None


def _know_the_member() -> None:
    g.me = None
    if "member" in session:
        member = the_site().members.find(session["member"])
        if member and hmac.compare_digest(member.seal, session.get("seal", "")):
            g.me = member


def _token() -> str:
    return str(session.setdefault("token", secrets.token_urlsafe(18)))


def _check_the_token() -> None:
    if request.method not in ("GET", "HEAD", "OPTIONS"):
        if request.endpoint == "sending.send":
            need_login()  # before anything large is looked at
        elif (request.content_length or 0) > LARGEST_FORM:
            abort(413)
        known, given = session.get("token", ""), request.form.get("token", "")
        if not known or not hmac.compare_digest(given.encode(), known.encode()):
            abort(403, "This page was open for too long. Please go back, load it again, and try once more.")


def _guard(response: Response) -> Response:
    response.headers["Content-Security-Policy"] = POLICY
    response.headers["X-Content-Type-Options"] = "nosniff"
    response.headers["Referrer-Policy"] = "same-origin"
    if response.mimetype in ("text/html", "application/json"):
        response.headers["Cache-Control"] = "no-store"
    return response


def _everywhere() -> dict[str, Any]:
    site = the_site()

    def entry(endpoint: str, text: str) -> Markup:
        here = Markup(' aria-current="page"') if request.endpoint == endpoint else ""
        return Markup('<a href="{}"{}>{}</a>').format(url_for(endpoint), here, text)

    is_new = site.members.count() == 0
    return {
        "me": g.get("me"),
        "count": len(site.catalogue.pictures),
        "is_new": is_new,
        "may_sign_up": is_new or site.settings.signup,
        "entry": entry,
        "token": lambda: Markup('<input type="hidden" name="token" value="{}">').format(_token()),
    }


TITLES = {400: "That was not understood", 403: "Not allowed", 404: "Not in this harbor", 413: "Too large",
          429: "Too many tries", 503: "Too busy"}
TEXTS = {404: "There is nothing at this address, or not any more.",
         413: "That is more than this harbor takes at once. Send fewer pictures, or smaller ones."}


def _problem(problem: HTTPException) -> Any:
    if problem.response is not None:  # a redirect
        return problem.response
    code = problem.code or 500
    text = TEXTS.get(code, problem.description)
    if wants_json():
        return jsonify(problem=text), code
    g.setdefault("me", None)
    return render_template("problem.html", title=TITLES.get(code, problem.name), text=text), code
