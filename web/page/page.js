// SPDX-License-Identifier: Apache-2.0
// The page: a login form, the shares, and folders with thumbnails. Where it is, is in the fragment:
// "#/docs/folder" with the components as the server has encoded them; "#links" is the list of the
// sharing links that the person has made. Below "/s/TOKEN" it is the page of a sharing link, whose
// visitors see what is below the link.
"use strict";

const visited = location.pathname.match(/^\/s\/[A-Za-z0-9_-]{22}/);
const api = `${visited ? visited[0] : ""}/api/v1/`;
const element = (id) => document.getElementById(id);
const order = element("order").querySelector("select");
let mayDownload = true;
let shown = 0; // counts what is shown, so that an answer that comes too late is dropped

class Refusal extends Error {
    constructor(status, answer) {
        super(answer.text || "The server does not answer; try again.");
        this.status = status;
        this.code = answer.code;
    }
}

async function ask(path, options = {}) {
    const response = await fetch(api + path, options);
    const answer = await response.json().catch(() => ({}));
    if (!response.ok) {
        throw new Refusal(response.status, answer);
    }
    return answer;
}

const post = (path, content = {}, method = "POST") => ask(path, {
    method,
    headers: {"Content-Type": "application/json"},
    body: JSON.stringify(content),
});

const say = (text) => { element("message").textContent = text; };

// Asks again for as long as this person has too many conversions already and wants one more.
async function askUntilTaken(question, isWanted) {
    for (;;) {
        try {
            return await question();
        } catch (refusal) {
            if (refusal.status !== 429 || !isWanted()) {
                throw refusal;
            }
            await new Promise((resolve) => { setTimeout(resolve, 2000); });
        }
    }
}

// What a person is told who waits for a document.
function textOf(answer) {
    let text = `${answer.state} …`;
    if (answer.ahead > 0) {
        text = answer.ahead === 1 ? "1 document comes first" : `${answer.ahead} documents come first`;
    }
    return answer.seconds > 0 ? `${text}, about ${answer.seconds} s` : text;
}

// Waits until the PDF is there; true if it is. When it is not wanted any more, it is not made either.
// Throws when it cannot be made.
// `tell` gets what happens meanwhile.
async function make(path, tell, isWanted) {
    const query = `${path}?product=pdf`;
    let answer = await askUntilTaken(() => post(`open/${query}`), isWanted);
    while (answer.state !== "ready" && answer.state !== "none") {
        if (!isWanted()) {
            await post(`open/${query}`, {}, "DELETE");
            return false;
        }
        tell(textOf(answer));
        answer = await ask(`status/${query}&wait=3`);
    }
    if (answer.state === "none") {
        throw new Error("the conversion has ended without a PDF; try again.");
    }
    return true;
}

// False when the person has closed the tab or gone elsewhere in it.
function isWaiting(tab) {
    try {
        return !tab.closed && tab.location.href === "about:blank";
    } catch { // another site's page is in it
        return false;
    }
}

// The tab, which the person looks at, tells how long it takes.
async function openDocument(path, name, tab) {
    if (!tab) {
        say(`${name}: the browser has opened no tab; allow this page to open tabs and try again.`);
        return;
    }
    const isWanted = () => isWaiting(tab);
    const tell = (text) => {
        say(`${name}: ${text}`);
        if (isWanted()) {
            tab.document.title = name;
            tab.document.body.textContent = `${name}: ${text} (To cancel, close this tab.)`;
        }
    };
    say("");
    try {
        const isReady = await make(path, tell, isWanted);
        say("");
        if (isReady && isWanted()) {
            tab.location.replace(`${api}pdf/${path}`);
        }
    } catch (refusal) {
        if (isWanted()) {
            tab.close();
        }
        if (refusal.status === 401) {
            throw refusal;
        }
        say(`${name}: ${refusal.message}`);
    }
}

// The thumbnails in sight that are not shown yet. They are asked for together: what is not made yet
// is made, in this order, and what the person has scrolled past is not.
const inSight = new Set();
const shortest = 500; // milliseconds between two questions
const longest = 4000;
let pause = shortest;
let nextLook = 0; // a timer
let isLooking = false;
let hasPending = false; // the server makes thumbnails for this page

const sight = new IntersectionObserver((changes) => {
    for (const change of changes) {
        if (change.isIntersecting) {
            inSight.add(change.target);
        } else {
            inSight.delete(change.target);
        }
    }
    pause = shortest;
    lookSoon(100);
}, {rootMargin: "200px"});

function lookSoon(time) {
    clearTimeout(nextLook);
    nextLook = setTimeout(() => run(look), time);
}

const mostAtOnce = 200;
const mostCharacters = 60_000; // of all paths of a question, below what the server takes

// Nobody sees a picture in a tab in the background.
function wanted() {
    const pictures = [];
    let characters = 0;
    for (const picture of document.hidden ? [] : inSight) {
        characters += picture.dataset.path.length + 3; // with quotes and a comma
        if (pictures.length === mostAtOnce || characters > mostCharacters) {
            break;
        }
        pictures.push(picture);
    }
    return pictures;
}

async function look() {
    const pictures = wanted();
    if (isLooking || (pictures.length === 0 && !hasPending)) {
        return;
    }
    isLooking = true;
    try {
        const paths = pictures.map((picture) => picture.dataset.path);
        const answer = await post("visible", {paths});
        hasPending = answer.states.some((state) => state.state === "pending");
        const ended = pictures.filter((picture, i) => settle(picture, answer.states[i]));
        pause = ended.length > 0 ? shortest : Math.min(pause * 1.5, longest);
    } catch (error) {
        if (error instanceof Refusal && error.status !== 503 && error.status !== 429) {
            inSight.clear();
            hasPending = false;
            throw error;
        }
        pause = longest; // the server is busy or out of reach
    } finally {
        isLooking = false;
    }
    if (wanted().length > 0 || hasPending) {
        lookSoon(pause);
    }
}

// Shows what has become of a thumbnail; true if that is its end.
function settle(picture, state) {
    if (state.state === "pending") {
        return false;
    }
    sight.unobserve(picture);
    inSight.delete(picture);
    if (state.state === "failed") {
        offerRetry(picture, state.code);
    } else if (state.state === "ready") {
        const image = new Image();
        image.alt = "";
        image.onload = () => picture.replaceChildren(image);
        image.onerror = () => offerRetry(picture, "lost");
        image.src = `${api}thumb/${picture.dataset.path}?v=${state.version}`;
    }
    return true;
}

function offerRetry(picture, code) {
    const item = picture.closest("li");
    picture.title = `No picture: ${code}`;
    const button = buttonFor("Try the picture again", async () => {
        await post(`open/${picture.dataset.path}?product=thumbnail`);
        button.remove();
        picture.title = "";
        sight.observe(picture);
    });
    item?.append(button);
}

function buttonFor(text, action) {
    const button = document.createElement("button");
    button.type = "button";
    button.textContent = text;
    button.addEventListener("click", () => run(action));
    return button;
}

function itemOf(entry, path) {
    const item = document.createElement("li");
    const link = document.createElement("a");
    const picture = document.createElement("span");
    picture.className = "picture";
    picture.textContent = entry.kind === "file" ? entry.name.split(".").pop() : "folder";
    link.append(picture, entry.name);
    if (entry.kind !== "file") {
        link.href = `#/${path}`;
    } else if (entry.viewable) {
        link.href = `${api}pdf/${path}`;
        link.target = "_blank";
        link.addEventListener("click", (event) => {
            event.preventDefault();
            const tab = window.open("about:blank", "_blank");
            run(() => openDocument(path, entry.name, tab));
        });
        picture.dataset.path = path;
        picture.dataset.version = entry.version;
        sight.observe(picture);
    } else if (mayDownload) {
        link.href = `${api}original/${path}`;
        link.title = "Download";
    }
    item.append(link);
    if (!visited && entry.kind === "file") {
        item.append(buttonFor("Share", () => showTerms(path, entry.name)));
    }
    return item;
}

// The name that a part of an address stands for.
function nameIn(part) {
    try {
        return decodeURIComponent(part);
    } catch {
        return part; // the name is no UTF-8
    }
}

function showTrail(path) {
    const links = path === "" ? [] : path.split("/").map((name, i, all) => {
        const link = document.createElement("a");
        link.href = `#/${all.slice(0, i + 1).join("/")}`;
        link.textContent = nameIn(name);
        return link;
    });
    element("trail").replaceChildren(...links.flatMap((link) => [" / ", link]));
}

async function addPage(path, cursor, mine) {
    const query = `sort=${order.value}&cursor=${encodeURIComponent(cursor)}`;
    const isRoot = path === "" && !visited;
    const list = path === "" ? "list" : `list/${path}`;
    const page = isRoot ? await ask("shares") : await ask(`${list}?${query}`);
    if (mine !== shown) {
        return;
    }
    const above = path === "" ? "" : `${path}/`;
    const entries = page.entries || page.shares;
    element("entries").append(...entries.map((entry) => itemOf(entry, above + entry.href)));
    say(element("entries").children.length === 0 ? "There is nothing here for you." : "");
    element("more").hidden = !page.next;
    element("more").onclick = async () => {
        element("more").disabled = true;
        await run(() => addPage(path, page.next, mine));
        element("more").disabled = false;
    };
}

// Shows none of the parts of the page that are not always there.
function clear() {
    sight.disconnect();
    inSight.clear();
    element("entries").replaceChildren();
    element("made").replaceChildren();
    for (const part of ["more", "login", "unlock", "terms", "order", "share"]) {
        element(part).hidden = true;
    }
}

function showWho(me) {
    if (visited) {
        mayDownload = me.link.download;
        document.querySelector("h1 a").textContent = me.link.label || me.link.name;
    } else {
        element("logout").hidden = false;
        element("links").hidden = false;
    }
}

async function show() {
    const mine = ++shown;
    const path = location.hash.replace(/^#\/?/, "").replace(/\/$/, "");
    const isLinks = !visited && location.hash === "#links";
    clear();
    showTrail(isLinks ? "" : path);
    const me = await ask("me");
    if (mine !== shown) {
        return;
    }
    showWho(me);
    if (isLinks) {
        await showLinks(mine);
        return;
    }
    element("order").hidden = path === "" && !visited;
    element("share").hidden = path === "" || Boolean(visited);
    element("share").onclick = () => showTerms(path, nameIn(path.split("/").pop()));
    await addPage(path, "", mine);
}

// The form for a new link to `path`.
function showTerms(path, name) {
    const form = element("terms");
    form.reset();
    form.hidden = false;
    form.dataset.path = path;
    element("shared").textContent = name;
    form.label.focus();
}

async function makeLink(form) {
    const terms = {path: form.dataset.path, download: form.download.checked};
    if (form.label.value !== "") {
        terms.label = form.label.value;
    }
    if (form.password.value !== "") {
        terms.password = form.password.value;
    }
    if (form.expires.value !== "") {
        terms.expires = Math.floor(new Date(form.expires.value).getTime() / 1000);
    }
    if (form.maxViews.value !== "") {
        terms.maxViews = Number(form.maxViews.value);
    }
    await post("links", terms);
    form.reset();
    form.hidden = true;
    if (location.hash === "#links") {
        await show();
    } else {
        location.hash = "#links";
    }
}

const dateOf = (seconds) => new Date(seconds * 1000).toLocaleString();

function factsOf(link) {
    const facts = [link.state, `${link.views}${link.maxViews ? ` of ${link.maxViews}` : ""} views`];
    if (link.expires) {
        facts.push(`ends ${dateOf(link.expires)}`);
    }
    if (link.password) {
        facts.push("with a password");
    }
    if (!link.download) {
        facts.push("no download");
    }
    return facts.join(", ");
}

function paragraph(text) {
    const made = document.createElement("p");
    made.textContent = text;
    return made;
}

async function showVisits(item, link) {
    const answer = await ask(`links/${link.id}/visits`);
    const lines = answer.visits.map((visit) => paragraph(
        `${dateOf(visit.time)}: ${visit.path} from ${visit.address || "an unknown address"}`));
    item.querySelector(".visits").replaceChildren(
        ...(lines.length === 0 ? [paragraph("Nobody has opened anything yet.")] : lines));
}

function itemOfLink(link) {
    const item = document.createElement("li");
    const title = document.createElement("h2");
    title.textContent = link.label === "" ? link.path : `${link.label}: ${link.path}`;
    const address = document.createElement("input");
    address.readOnly = true;
    address.value = link.token === "" // the server's key has changed since
        ? "The address is no longer known here." : `${location.origin}/s/${link.token}`;
    address.setAttribute("aria-label", "Address of the link");
    const visits = document.createElement("div");
    visits.className = "visits";
    const change = (terms) => post(`links/${link.id}`, terms, "PATCH").then(show);
    const isRevoked = link.state === "revoked";
    item.append(title, paragraph(factsOf(link)), address,
                buttonFor("Copy", () => copy(address)), " ",
                buttonFor(isRevoked ? "Reactivate" : "Revoke", () => change({revoked: !isRevoked})),
                " ", buttonFor("Who opened it", () => showVisits(item, link)), " ",
                buttonFor("Remove", () => post(`links/${link.id}`, {}, "DELETE").then(show)),
                visits);
    return item;
}

// Browsers let pages write to the clipboard only on HTTPS and on this machine itself.
async function copy(address) {
    address.select();
    await navigator.clipboard?.writeText(address.value);
    say(navigator.clipboard ? "Copied." : "Copy the marked address.");
}

async function showLinks(mine) {
    const answer = await ask("links");
    if (mine !== shown) {
        return;
    }
    element("made").replaceChildren(...answer.links.map(itemOfLink));
    say(answer.links.length === 0 ? "You have no links." : "");
}

function showLogin() {
    ++shown;
    clear();
    element("login").hidden = false;
    element("logout").hidden = true;
    element("links").hidden = true;
    element("login").user.focus();
}

function showUnlock() {
    ++shown;
    clear();
    element("unlock").hidden = false;
    element("unlock").password.focus();
}

// Runs an action; says what went wrong, and asks for a login if there is none.
async function run(action) {
    try {
        await action();
    } catch (refusal) {
        if (refusal.code === "link-password") {
            say(element("unlock").hidden ? "" : "This is not the password.");
            showUnlock();
            return;
        }
        say(refusal.code === "no-session" ? "" : refusal.message);
        if (refusal.status === 401) {
            showLogin();
        }
    }
}

element("login").addEventListener("submit", (event) => {
    event.preventDefault();
    const form = event.target;
    run(async () => {
        await post("login", {user: form.user.value, password: form.password.value});
        form.password.value = "";
        await show();
    });
});
element("unlock").addEventListener("submit", (event) => {
    event.preventDefault();
    const form = event.target;
    run(async () => {
        await post("unlock", {password: form.password.value});
        form.reset();
        await show();
    });
});
element("terms").addEventListener("submit", (event) => {
    event.preventDefault();
    run(() => makeLink(event.target));
});
element("cancel").addEventListener("click", () => { element("terms").hidden = true; });
element("logout").addEventListener("click", () => run(async () => {
    await post("logout");
    showLogin();
}));
document.addEventListener("visibilitychange", () => lookSoon(0));
order.addEventListener("change", () => run(show));
window.addEventListener("hashchange", () => run(show));
run(show);
