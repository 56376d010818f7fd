// Shares what the person points at. Each share begins with a click or a key, which allows a look at that tab, once.

import { browser, handOver, SharingError } from "./host.js";
import { readPage, readPicture } from "./page.js";
import { addressOfPage } from "./address.js";

const MENUS = { page: "sharePage", selection: "shareSelection", link: "shareLink", image: "shareImage" };

// What the sheet can take as a picture; anything else is shared by its address.
const PICTURE_TYPES = ["image/jpeg", "image/png", "image/webp", "image/gif", "image/tiff", "image/heic", "image/heif",
  "image/avif", "image/bmp"];

/** What a function answers in frames of the tab, by their numbers; nothing of those where no script may run. */
async function inFrames(tab, frames, func, ...args) {
  // Chromium may tell of the click a moment before it allows the look at the tab.
  const attempts = /^(https?|file):/.test(tab.url ?? "") ? 5 : 1;
  for (let attempt = 1; attempt <= attempts; ++attempt) {
    try {
      const answers = await browser.scripting.executeScript({
        target: { tabId: tab.id, ...frames }, func, args, injectImmediately: true,
      });
      return new Map(answers.map(({ frameId, result }) => [frameId, result ?? undefined]));
    } catch {
      await new Promise((resolve) => setTimeout(resolve, 10 * attempt));
    }
  }
  return new Map();
}

async function inFrame(tab, frameId, func, ...args) {
  return (await inFrames(tab, { frameIds: [frameId] }, func, ...args)).get(frameId);
}

/** What can be known of the tab's page and of the frames in it; of one where no script may run, what the browser tells. */
async function pageOf(tab, pageUrl) {
  const frames = await inFrames(tab, { allFrames: true }, readPage);
  const page = frames.get(0) ?? {};
  const url = tab.url ?? page.url ?? pageUrl;
  return { ...page, title: page.title || tab.title || url, url, frames };
}

async function sharePage(tab, { pageUrl }) {
  const page = await pageOf(tab, pageUrl);
  const selections = [page, ...page.frames.values()].map((frame) => frame?.selection);
  return { title: page.title, url: addressOfPage(page), canonical: page.canonical, selection: selections.find(Boolean) };
}

async function shareSelection(tab, { pageUrl, frameId = 0, selectionText }) {
  const page = await pageOf(tab, pageUrl);
  // The browser's own text of the selection has lost its line breaks.
  const selection = page.frames.get(frameId)?.selection || selectionText;
  return { title: page.title, url: addressOfPage(page), canonical: page.canonical, selection };
}

async function shareLink(tab, { linkUrl, linkText, selectionText, frameId = 0 }) {
  const text = linkText || selectionText || await inFrame(tab, frameId, readLinkText, linkUrl);
  return { title: text || linkUrl, url: linkUrl };
}

function readLinkText(address) {
  const link = [...document.links].find((each) => each.href === address);
  return (link?.innerText || link?.title || link?.querySelector("img")?.alt || "").replace(/\s+/g, " ").trim();
}

async function shareImage(tab, { pageUrl, srcUrl, frameId = 0 }) {
  const page = await pageOf(tab, pageUrl);
  const picture = await inFrame(tab, frameId, readPicture, srcUrl, PICTURE_TYPES)
    ?? await readPicture(srcUrl, PICTURE_TYPES);
  if (picture) return { title: page.title, url: addressOfPage({ ...page, fragment: undefined }), picture };
  return { title: page.title, url: srcUrl };
}

const SHARES = { page: sharePage, selection: shareSelection, link: shareLink, image: shareImage };

async function explain(error, shared) {
  const sentence = error instanceof SharingError ? error.message : String(error);
  const { picture, ...words } = shared;
  await browser.storage.session.set({ problem: { sentence, shared: words } });
  await browser.action.setBadgeText({ text: "!" });
  await browser.tabs.create({ url: browser.runtime.getURL("problem.html") });
}

async function share(kind, tab, about = {}) {
  let shared = {};
  try {
    shared = await SHARES[kind](tab, about);
    try {
      await handOver(shared);
    } catch (error) {
      if (!shared.picture) throw error;
      // Browsers show pictures that the sheet cannot take.
      await handOver({ title: shared.title, url: about.srcUrl });
    }
    await browser.action.setBadgeText({ text: "" });
  } catch (error) {
    await explain(error, shared);
  }
}

browser.runtime.onInstalled.addListener(async () => {
  await browser.contextMenus.removeAll();
  for (const [context, message] of Object.entries(MENUS))
    browser.contextMenus.create({ id: context, contexts: [context], title: browser.i18n.getMessage(message) });
});

browser.contextMenus.onClicked.addListener((about, tab) => share(about.menuItemId, tab, about));

browser.action.onClicked.addListener(async (tab) => {
  if (tab.url) return share("page", tab);
  // Chromium keeps the address of its own pages back, even from who may look at the tab; the person is asked once.
  if (await browser.permissions.request({ permissions: ["tabs"] })) return share("page", await browser.tabs.get(tab.id));
  return explain(new SharingError(browser.i18n.getMessage("pageKeptBack")), {});
});
