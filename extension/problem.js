// Says why something was not shared, and keeps the person's words in view.

import { browser } from "./host.js";

const { problem } = await browser.storage.session.get("problem");
const language = browser.i18n.getMessage("@@ui_locale").replace("_", "-");
document.documentElement.lang = language;
document.documentElement.dir = browser.i18n.getMessage("@@bidi_dir");
document.querySelector("h1").textContent = browser.i18n.getMessage("problemTitle");
document.querySelector("p").textContent = problem?.sentence ?? "";
for (const text of Object.values(problem?.shared ?? {}).filter(Boolean)) {
  const shared = document.createElement("dd");
  shared.dir = "auto";
  shared.textContent = text;
  document.querySelector("dl").append(shared);
}
await browser.action.setBadgeText({ text: "" });
