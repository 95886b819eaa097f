// SPDX-License-Identifier: Apache-2.0
// A document that ann has stored in the share docs, NAME, in a real browser. Needs a running web service; its
// address and ann's password are in the environment.
import assert from "node:assert/strict";
import {test} from "node:test";
import puppeteer from "puppeteer-core";

const {ADDRESS, ANN, NAME, BROWSER} = process.env;

test("ann sees the thumbnail of what she has stored, and its link leads to the PDF", async (t) => {
    const browser = await puppeteer.launch({executablePath: BROWSER, args: ["--no-sandbox"]});
    t.after(() => browser.close());
    const page = await browser.newPage();
    page.setDefaultTimeout(60_000);
    await page.goto(ADDRESS);
    await page.waitForSelector("#login:not([hidden])");
    await page.type("input[name=user]", "ann");
    await page.type("input[name=password]", ANN);
    await page.keyboard.press("Enter");
    await page.locator("#entries a ::-p-text(docs)").click();
    const picture = await page.waitForFunction((name) =>
        [...document.querySelectorAll(".picture[data-path]")].find((one) =>
            one.dataset.path.endsWith(name) && one.querySelector("img")?.naturalWidth > 0), {}, NAME);
    assert.ok(picture);
    const link = await page.locator(`#entries a ::-p-text(${NAME})`).waitHandle();
    const opened = await link.evaluate(async (a) => {
        const answer = await fetch(a.closest("a").href);
        const text = await answer.text();
        return [new URL(answer.url).pathname, answer.status, text.slice(0, 5)];
    });
    assert.deepEqual(opened, [`/api/v1/pdf/docs/${NAME}`, 200, "%PDF-"]);
});
