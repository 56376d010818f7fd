// Which address leads back to what was shared.

const withoutPrefix = (host) => host.replace(/^(www|m|mobile)\./, "");
const withoutSlash = (path) => path.replace(/\/$/, "");

/**
 * A page's own word for its address, where it differs only in what does not lead elsewhere: the query, or the host's
 * prefix for small screens. Pages give the address of their site's front page, or of the page before, too.
 */
function preferred(url, canonical) {
  if (!URL.canParse(canonical)) return url;
  const own = new URL(canonical);
  const isSamePage = /^https?:$/.test(own.protocol) && withoutPrefix(own.host) === withoutPrefix(url.host)
    && withoutSlash(own.pathname) === withoutSlash(url.pathname) && !own.username;
  if (!isSamePage) return url;
  own.hash ||= url.hash;
  return own;
}

/** The address of a page, leading to the selection on it where there is one; any other address as it is. */
export function addressOfPage({ url, canonical, fragment }) {
  if (!URL.canParse(url)) return url;
  const address = new URL(url);
  if (!/^https?:$/.test(address.protocol)) return url;
  const chosen = preferred(address, canonical);
  const anchor = chosen.hash.split(":~:")[0];
  if (fragment) return `${withoutHash(chosen)}${anchor || "#"}:~:text=${fragment}`;
  return chosen === address ? url : chosen.href;
}

function withoutHash(url) {
  return url.href.slice(0, url.href.length - url.hash.length).replace(/#$/, "");
}
