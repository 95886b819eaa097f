// SPDX-License-Identifier: Apache-2.0
// The page in a real browser. Needs a running demo: its address and the password of ann and carl are in
// the environment, with the browser's program and its kind, "chrome" or "firefox".
import assert from "node:assert/strict";
import {afterEach, beforeEach, test} from "node:test";
import puppeteer from "puppeteer-core";

const {ADDRESS, ANN, CARL, BROWSER, KIND} = process.env;
const limit = 60_000;
let browser;
// One for each test: an address may have 40 connections, and a browser keeps those of closed pages.
beforeEach(async () => {
    browser = await puppeteer.launch({
        browser: KIND,
        executablePath: BROWSER,
        args: KIND === "chrome" ? ["--no-sandbox"] : [], // it refuses to run as root with one
    });
});
afterEach(() => browser.close());

// A page in a context of its own that records what goes wrong in it.
async function openPage(address = ADDRESS) {
    const context = await browser.createBrowserContext();
    const page = await context.newPage();
    page.setDefaultTimeout(limit);
    page.troubles = [];
    page.on("pageerror", (error) => page.troubles.push(String(error)));
    page.on("console", (message) => {
        if (/Content.Security.Policy|Refused to/.test(message.text())) {
            page.troubles.push(message.text());
        }
    });
    await page.evaluateOnNewDocument(() => {
        window.violations = [];
        document.addEventListener("securitypolicyviolation", (event) => {
            window.violations.push(`${event.violatedDirective} ${event.blockedURI}`);
        });
    });
    await page.goto(address);
    return page;
}

async function logIn(page, user, password) {
    await page.waitForSelector("#login:not([hidden])");
    await page.type("input[name=user]", user);
    await page.type("input[name=password]", password);
    await page.keyboard.press("Enter");
}

const names = (page) => page.$$eval("#entries > li > a", (links) => links.map(
    (link) => link.lastChild.textContent));

async function enter(page, name) {
    await page.locator(`#entries a ::-p-text(${name})`).click();
}

const waitForNames = (page, ...wanted) => page.waitForFunction((all) => {
    const shown = [...document.querySelectorAll("#entries > li > a")].map(
        (link) => link.lastChild.textContent);
    return all.every((one) => shown.includes(one));
}, {}, wanted);

// A page in which ann has opened the share docs.
async function openDocs() {
    const page = await openPage();
    await logIn(page, "ann", ANN);
    await waitForNames(page, "docs");
    await enter(page, "docs");
    await waitForNames(page, "letter.docx");
    return page;
}

async function assertNoTrouble(page) {
    assert.deepEqual(page.troubles, []);
    assert.deepEqual(await page.evaluate(() => window.violations), [], "the policy was violated");
}

test("a wrong password is refused, and the right one shows the shares", async () => {
    const page = await openPage();
    await logIn(page, "ann", "wrong");
    await page.waitForFunction(() => document.getElementById("message").textContent !== "");
    await page.$eval("#login", (form) => form.reset());
    await logIn(page, "ann", ANN);
    await waitForNames(page, "docs", "staff");
    await assertNoTrouble(page);
});

test("a person sees the shares that are for this person", async () => {
    const page = await openPage();
    await logIn(page, "carl", CARL);
    await waitForNames(page, "docs");
    assert.deepEqual(await names(page), ["docs"]);
    await assertNoTrouble(page);
});

const waitForThumbnails = (page, least) => page.waitForFunction((count) => {
    const pictures = [...document.querySelectorAll(".picture[data-path]")];
    return pictures.length >= count && pictures.every((picture) => picture.querySelector("img"));
}, {timeout: 2 * limit}, least);

test("a folder shows a thumbnail for each of its documents", async () => {
    const page = await openPage();
    await logIn(page, "ann", ANN);
    await waitForNames(page, "docs");
    await enter(page, "docs");
    await waitForNames(page, "letter.docx", "private");
    await waitForThumbnails(page, 6);
    await assertNoTrouble(page);
});

test("a person gets more thumbnails than conversions at a time", async () => {
    const page = await openPage();
    await page.setViewport({width: 1600, height: 1600});
    await logIn(page, "carl", CARL);
    await waitForNames(page, "docs");
    await enter(page, "docs");
    await waitForNames(page, "many");
    await enter(page, "many");
    await waitForThumbnails(page, 12);
    await assertNoTrouble(page);
});

test("thumbnails are fetched when they are there, and nobody asks after the last one", async () => {
    const page = await openPage();
    const answers = [];
    page.on("response", (response) => {
        if (/\/api\/v1\/(thumb|visible)/.test(response.url())) {
            answers.push(response.status());
        }
    });
    await logIn(page, "ann", ANN);
    await waitForNames(page, "docs");
    await enter(page, "docs");
    await waitForThumbnails(page, 6);
    const before = answers.length;
    await new Promise((resolve) => { setTimeout(resolve, 5000); });
    assert.equal(answers.length, before);
    assert.deepEqual(answers.filter((status) => status !== 200 && status !== 304), []);
});

test("a thumbnail that cannot be made has an end and a retry", async () => {
    const page = await openPage();
    await logIn(page, "carl", CARL);
    await waitForNames(page, "docs");
    await enter(page, "docs");
    await waitForNames(page, "broken");
    await enter(page, "broken");
    const retry = "#entries li ::-p-text(Try the picture again)";
    await page.waitForSelector(retry);
    const picture = await page.$eval(".picture", (one) => one.title);
    assert.match(picture, /^No picture: ./);
    await page.locator(retry).click();
    await page.waitForFunction(() => document.querySelector("#message").textContent !== "");
    await page.waitForSelector(retry);
    await assertNoTrouble(page);
});

// The tab in which a click on a document opens, and the answer with its PDF.
async function openInTab(page, name) {
    const opened = new Promise((resolve) => {
        page.browserContext().on("targetcreated", async (target) => {
            if (target.type() === "page") {
                const tab = await target.page();
                tab.on("response", (response) => resolve({tab, response}));
            }
        });
    });
    await enter(page, name);
    return opened;
}

test("a click on a document opens its PDF in a new tab", async () => {
    const page = await openDocs();
    const {response} = await openInTab(page, "letter.docx");
    assert.deepEqual(
        [new URL(response.url()).pathname, response.status(), response.headers()["content-type"]],
        ["/api/v1/pdf/docs/letter.docx", 200, "application/pdf"]);
    await assertNoTrouble(page);
});

// A tab in which a document is opened that the service does not make: the answers are the test's.
async function openHeldUp(page, name) {
    await page.evaluate(() => {
        window.asked = [];
        window.answer = {state: "queued", ahead: 3, seconds: 12};
        const real = window.fetch;
        window.fetch = (path, options) => {
            if (!/\/api\/v1\/(open|status)\//.test(path)) {
                return real(path, options);
            }
            window.asked.push(options?.method || "GET");
            return new Promise((resolve) => {
                setTimeout(() => resolve(new Response(
                    JSON.stringify(window.answer), {status: window.answer.status || 200})), 200);
            });
        };
    });
    const opened = new Promise((resolve) => {
        page.browserContext().once("targetcreated", (target) => resolve(target.page()));
    });
    await enter(page, name);
    return opened;
}

test("a tab tells how long its document takes, and closing it cancels", async () => {
    const page = await openDocs();
    const tab = await openHeldUp(page, "letter.docx");
    await tab.waitForFunction(() => document.body.textContent ===
        "letter.docx: 3 documents come first, about 12 s (To cancel, close this tab.)");
    await page.evaluate(() => { window.answer = {state: "converting", ahead: 0}; });
    await tab.waitForFunction(
        () => document.body.textContent.startsWith("letter.docx: converting … "));
    await tab.close();
    await page.waitForFunction(() => window.asked.at(-1) === "DELETE");
    await assertNoTrouble(page);
});

test("a person whose document is not made is told so, and its tab closes", async () => {
    const page = await openDocs();
    const tab = await openHeldUp(page, "letter.docx");
    const closed = new Promise((resolve) => { tab.once("close", resolve); });
    await page.evaluate(() => { window.answer = {state: "none"}; });
    await closed;
    await page.waitForFunction(() => document.getElementById("message").textContent ===
        "letter.docx: the conversion has ended without a PDF; try again.");
    assert.equal(await page.evaluate(() => window.asked.filter((one) => one === "POST").length), 1);
    await assertNoTrouble(page);
});

test("a person whose session has ended gets the login form for a document", async () => {
    const page = await openDocs();
    const tab = await openHeldUp(page, "letter.docx");
    const closed = new Promise((resolve) => { tab.once("close", resolve); });
    await page.evaluate(() => {
        window.answer = {status: 401, code: "no-session", text: "Log in first."};
    });
    await closed;
    await page.waitForSelector("#login:not([hidden])");
    await assertNoTrouble(page);
});

test("a person whose browser opens no tab is told so", async () => {
    const page = await openDocs();
    await page.evaluate(() => { window.open = () => null; });
    await enter(page, "letter.docx");
    await page.waitForFunction(() => document.getElementById("message").textContent ===
        "letter.docx: the browser has opened no tab; allow this page to open tabs and try again.");
    await assertNoTrouble(page);
});

test("going back, sorting and logging out work", async () => {
    const page = await openDocs();
    await page.select("#order select", "-size");
    await page.waitForFunction(() => document.querySelectorAll("#entries > li").length >= 6);
    await page.evaluate(() => history.back()); // goBack() waits for a document to load
    await waitForNames(page, "docs", "staff");
    await page.locator("#logout").click();
    await page.waitForSelector("#login:not([hidden])");
    assert.deepEqual(await names(page), []);
    await page.reload();
    await page.waitForSelector("#login:not([hidden])");
    await assertNoTrouble(page);
});

test("the browser's own viewer shows the pages of a PDF", {
    skip: KIND === "firefox" ? false : "this browser has no viewer",
}, async () => {
    const page = await openDocs();
    const {tab} = await openInTab(page, "letter.docx");
    await tab.waitForSelector(".page[data-page-number='1'] canvas", {timeout: limit});
    await tab.waitForFunction(
        () => document.querySelector(".page .textLayer")?.textContent.length > 20, {timeout: limit});
    await assertNoTrouble(page);
});

test("a visitor of a sharing link needs its password and sees its folder alone", async () => {
    const ann = await openPage();
    await logIn(ann, "ann", ANN);
    await waitForNames(ann, "docs");
    await enter(ann, "docs");
    await waitForNames(ann, "many");
    await enter(ann, "many");
    await waitForNames(ann, "letter1.docx");
    await ann.locator("#share").click();
    await ann.waitForSelector("#terms:not([hidden])");
    await ann.type("#terms input[name=label]", "twelve letters");
    await ann.type("#terms input[name=password]", "open it");
    await ann.locator("#terms ::-p-text(Make the link)").click();
    await ann.waitForSelector("#made input");
    const address = await ann.$eval("#made input", (input) => input.value);

    const visitor = await openPage(address);
    await visitor.waitForSelector("#unlock:not([hidden])");
    await visitor.type("#unlock input[name=password]", "wrong");
    await visitor.keyboard.press("Enter");
    await visitor.waitForFunction(
        () => document.querySelector("#message").textContent === "This is not the password.");
    assert.deepEqual(await names(visitor), []);
    await visitor.$eval("#unlock", (form) => form.reset());
    await visitor.type("#unlock input[name=password]", "open it");
    await visitor.keyboard.press("Enter");
    await waitForNames(visitor, "letter1.docx", "letter12.docx");
    assert.equal((await names(visitor)).length, 12);
    await waitForThumbnails(visitor, 12);
    const {response} = await openInTab(visitor, "letter2.docx");
    assert.equal(response.headers()["content-type"], "application/pdf");
    await assertNoTrouble(visitor);

    await ann.locator("#made ::-p-text(Remove)").click();
    await ann.waitForFunction(() => document.querySelectorAll("#made > li").length === 0);
    await visitor.reload();
    await visitor.waitForFunction(() => document.querySelector("#message").textContent !== "");
    assert.deepEqual(await names(visitor), []);
    await assertNoTrouble(ann);
});
