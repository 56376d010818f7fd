// The program that opens the sheet.

export const browser = globalThis.browser ?? globalThis.chrome;

const HOST = "com.kestrelworks.tasklane";

/** Why something was not shared, in a sentence for the person. */
export class SharingError extends Error {}

/**
 * Hands a share over: { title, url, canonical, selection, picture }, of which everything may be left out; the picture as
 * pieces in base64. Done once the sheet's program has it all. Throws a SharingError when it has not.
 */
export function handOver({ picture = [], ...words }) {
  const port = browser.runtime.connectNative(HOST);
  return new Promise((resolve, reject) => {
    port.onMessage.addListener(({ state, error }) => {
      if (state === "accepted") resolve();
      else reject(new SharingError(error));
    });
    port.onDisconnect.addListener(() => {
      const reason = browser.runtime.lastError?.message ?? port.error?.message ?? "";
      reject(new SharingError(`${browser.i18n.getMessage("hostMissing")} (${reason})`));
    });
    for (const bytes of picture) port.postMessage({ type: "picture", bytes });
    const said = Object.entries(words).filter(([, text]) => text);
    port.postMessage({ type: "share", ...Object.fromEntries(said) });
  }).finally(() => port.disconnect());
}
