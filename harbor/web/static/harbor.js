// Everything here is a comfort: each page does all it does by plain forms and links as well.
"use strict";

// Points: show the number under the hand.
for (const range of document.querySelectorAll("input[type=range]")) {
    const shown = document.getElementById(range.dataset.shows);
    range.addEventListener("input", () => { shown.textContent = range.value; });
}

// A star without a new page.
for (const form of document.querySelectorAll("form.starring")) {
    form.addEventListener("submit", async event => {
        event.preventDefault();
        const button = form.querySelector("button");
        const wanted = form.elements.on.value === "yes";
        button.disabled = true;
        try {
            const answer = await fetch(form.action, {
                method: "POST", body: new FormData(form), headers: {Accept: "application/json"},
            });
            if (!answer.ok) throw new Error(answer.statusText);
            button.setAttribute("aria-pressed", wanted);
            button.textContent = wanted ? button.dataset.starred : button.dataset.unstarred;
            form.elements.on.value = wanted ? "no" : "yes";
            document.getElementById("stars").textContent = (await answer.json()).stars;
        } catch {
            form.submit(); // the plain way says what is wrong
        } finally {
            button.disabled = false;
        }
    });
}

// Sending: one picture after the other, each with its own bar and its own outcome.
const form = document.querySelector("form.send");
if (form) {
    const drop = form.querySelector(".drop"), input = form.elements.pictures, list = form.querySelector(".sending");
    const limit = Number(form.dataset.limit), waiting = [];
    let isSending = false;

    const add = files => {
        for (const file of files) {
            const line = document.createElement("li");
            line.innerHTML = '<span class="file"></span><span class="state quiet">waits</span><progress max="1" value="0"></progress>';
            line.querySelector(".file").textContent = file.name;
            list.append(line);
            waiting.push({file, line});
        }
        send();
    };
    const tell = (line, text, kind) => {
        const state = line.querySelector(".state");
        state.className = `state ${kind}`;
        state.replaceChildren(text);
        if (kind !== "quiet") line.querySelector("progress").remove();
    };
    const send = async () => {
        if (isSending) return;
        isSending = true;
        while (waiting.length) {
            const {file, line} = waiting.shift();
            if (file.size > limit) tell(line, form.dataset.tooLarge, "wrong");
            else await sendOne(file, line);
        }
        isSending = false;
    };
    const sendOne = (file, line) => new Promise(done => {
        const request = new XMLHttpRequest(), body = new FormData();
        body.append("token", form.elements.token.value);
        body.append("pictures", file);
        request.upload.onprogress = event => {
            if (event.lengthComputable) line.querySelector("progress").value = event.loaded / event.total;
        };
        request.onload = () => {
            let outcome = {};
            try { outcome = JSON.parse(request.responseText).outcomes[0]; } catch { /* an answer without words */ }
            if (outcome.link) {
                const link = document.createElement("a");
                link.href = outcome.link;
                link.textContent = "here it is";
                tell(line, link, "well");
            } else {
                tell(line, outcome.problem || `refused (${request.status})`, "wrong");
            }
            done();
        };
        request.onerror = request.ontimeout = () => { tell(line, "the connection broke", "wrong"); done(); };
        request.open("POST", form.action);
        request.setRequestHeader("Accept", "application/json");
        request.send(body);
    });

    form.querySelector("button").hidden = true; // what is chosen goes out at once
    input.addEventListener("change", () => { add(input.files); input.value = ""; });
    for (const kind of ["dragenter", "dragover"]) drop.addEventListener(kind, event => {
        event.preventDefault();
        drop.classList.add("over");
    });
    drop.addEventListener("dragleave", event => {
        if (!drop.contains(event.relatedTarget)) drop.classList.remove("over");
    });
    drop.addEventListener("drop", event => {
        event.preventDefault();
        drop.classList.remove("over");
        add(event.dataTransfer.files);
    });
}
