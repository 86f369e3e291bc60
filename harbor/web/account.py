"""Signing up, logging in and out, passwords, and what the owner of the box does for the others."""

import re
from typing import Any
from urllib.parse import urlsplit

from flask import Blueprint, abort, flash, g, redirect, render_template, request, session, url_for

from harbor.patience import TooMany
from harbor.web.app import log_in, need_login, the_site
from harbor.web.pages import the_member

blueprint = Blueprint("account", __name__)

# What Quillory's login window takes for a name, less what would be awkward as the name of a folder.
NAME = re.compile(r"[A-Za-z0-9_-][A-Za-z0-9._-]{0,31}")
TOO_MANY = "Too many wrong passwords. Please wait five minutes."


def verified(name: str, password: str) -> Any:
    """The member, if the password is right; raises TooMany."""
    site = the_site()
    return site.patience.verify(request.remote_addr, name, lambda: site.members.verify(name, password[:128]))


def back(to: str) -> str:
    """Where to go after a login: a place in this site, never another one."""
    parts = urlsplit(to.replace("\\", "/"))
    return to if to.startswith("/") and not parts.netloc and not parts.scheme else url_for("pages.home")


def fault_in(name: str, password: str) -> str | None:
    """What is wrong with a new account, if anything is."""
    if not NAME.fullmatch(name):
        return "A username has up to 32 letters, digits, periods, dashes and underscores; it begins with no period."
    return fault_in_password(password)


def fault_in_password(password: str) -> str | None:
    if not password:
        return "Please enter a password."
    return "A password has at most 128 characters." if len(password) > 128 else None


@blueprint.route("/signup", methods=["GET", "POST"])
def signup() -> Any:
    members = the_site().members
    is_first = members.count() == 0
    if not is_first and not the_site().settings.signup:
        abort(403, "New members are added by the owner of this box.")
    username, problem = request.form.get("username", "").strip(), None
    if request.method == "POST":
        password = request.form.get("password", "")
        problem = fault_in(username, password)
        if not problem and password != request.form.get("again"):
            problem = "The two passwords differ."
        if not problem:
            member = members.add(username, password)
            if member:
                log_in(member)
                owner = " You are the owner of this box." if member.is_owner else ""
                flash(f"Welcome, {member.name}!{owner}", "well")
                return redirect(url_for("pages.home"))
            problem = f"{username} is taken already."
    intro = "This box is new: whoever signs up first is its owner." if is_first else None
    page = render_template("form.html", title="Sign up", is_new_member=True, username=username, problem=problem,
                           intro=intro)
    return page, 400 if problem else 200


@blueprint.route("/login", methods=["GET", "POST"])
def login() -> Any:
    username, problem = request.form.get("username", "").strip(), None
    if request.method == "POST":
        try:
            member = verified(username, request.form.get("password", ""))
        except TooMany:
            abort(429, TOO_MANY)
        if member:
            log_in(member)
            return redirect(back(request.args.get("next", "")))
        problem = "This username and this password do not belong together."
    page = render_template("form.html", title="Log in", username=username, problem=problem)
    return page, 400 if problem else 200


@blueprint.post("/logout")
def logout() -> Any:
    session.clear()
    return redirect(url_for("pages.home"))


@blueprint.get("/settings")
def settings() -> str:
    me = need_login()
    members = list(the_site().members) if me.is_owner else []
    return render_template("settings.html", is_owner=me.is_owner, members=members)


@blueprint.post("/settings/password")
def password() -> Any:
    me, members, new = need_login(), the_site().members, request.form.get("password", "")
    problem = fault_in_password(new)
    if not problem and new != request.form.get("again"):
        problem = "The two new passwords differ."
    if not problem:
        try:
            if not verified(me.name, request.form.get("present", "")):
                problem = "That is not your present password."
        except TooMany:
            problem = TOO_MANY
    if problem:
        flash(problem, "wrong")
    else:
        members.set_password(me.name, new)
        log_in(members.find(me.name))
        flash("Your password is changed. Quillory asks for the new one at its next login.", "well")
    return redirect(url_for("account.settings"))


def _as_owner() -> None:
    if not need_login().is_owner:
        abort(403, "Only the owner of this box may do that.")


def _told(text: str, kind: str = "well") -> Any:
    flash(text, kind)
    return redirect(url_for("account.settings"))


@blueprint.post("/settings/members")
def add() -> Any:
    _as_owner()
    name, new = request.form.get("username", "").strip(), request.form.get("password", "")
    if problem := fault_in(name, new):
        return _told(problem, "wrong")
    if the_site().members.add(name, new) is None:
        return _told(f"{name} is taken already.", "wrong")
    return _told(f"{name} is a member now.")


@blueprint.post("/settings/members/<name>/password")
def reset(name: str) -> Any:
    _as_owner()
    name, new = the_member(name).name, request.form.get("password", "")
    if problem := fault_in_password(new):
        return _told(problem, "wrong")
    the_site().members.set_password(name, new)
    return _told(f"{name} has a new password.")


@blueprint.post("/settings/members/<name>/remove")
def remove(name: str) -> Any:
    _as_owner()
    name = the_member(name).name
    if name == g.me.name:
        abort(400, "The owner of the box stays.")
    the_site().members.remove(name)
    return _told(f"{name} is no member any more.")
