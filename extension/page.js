// What runs in the shared page. Each function is copied there whole: it can use nothing outside itself.

/**
 * { title, url, canonical, selection, fragment } of a document. The fragment is a text directive that finds the selection
 * again (wicg.github.io/scroll-to-text-fragment): the words themselves, or the first and the last ones, whole words
 * always, with the words before or after them where the page has the same ones further up.
 */
export function readPage() {
  const LONGEST_WHOLE = 200, WORDS = 5;
  const BLOCKS = new Set(["block", "flex", "grid", "list-item", "table", "table-cell", "flow-root", "table-caption"]);

  const oneLine = (text) => text.replace(/\s+/g, " ").trim();
  const encoded = (text) => encodeURIComponent(oneLine(text)).replaceAll("-", "%2D");

  function blockOf(node) {
    let element = node.nodeType === Node.ELEMENT_NODE ? node : node.parentElement;
    while (element?.parentElement && !BLOCKS.has(getComputedStyle(element).display)) element = element.parentElement;
    return element;
  }

  function offsetIn(block, node, offset) {
    const range = document.createRange();
    range.setStart(block, 0);
    range.setEnd(node, offset);
    return range.toString().length;
  }

  /** Browsers disagree on the words of scripts without blanks between them: what stands together there is one. */
  function wordsOf(text) {
    const isRun = (word) => word && /[\p{scx=Thai}\p{scx=Lao}\p{scx=Khmer}\p{scx=Mymr}]/u.test(text.slice(word.start, word.end));
    const words = [];
    for (const { segment, index, isWordLike } of new Intl.Segmenter(undefined, { granularity: "word" }).segment(text)) {
      const word = { start: index, end: index + segment.length, isWordLike };
      if (isRun(word) && isRun(words.at(-1))) words.at(-1).end = word.end;
      else words.push(word);
    }
    return words;
  }

  /** The part of a text from start to end, grown to whole words, without blanks around it. */
  function wholeWords(text, start, end) {
    const touched = wordsOf(text).filter((word) => word.end > start && word.start < end
      && text.slice(word.start, word.end).trim());
    return touched.length ? [touched[0].start, touched.at(-1).end] : [start, start];
  }

  function firstWords(text) {
    return text.slice(0, wordsOf(text).filter((word) => word.isWordLike)[WORDS - 1]?.end ?? text.length);
  }

  function lastWords(text) {
    return text.slice(wordsOf(text).filter((word) => word.isWordLike).at(-WORDS)?.start ?? 0);
  }

  function textDirective(range) {
    const first = blockOf(range.startContainer), last = blockOf(range.endContainer);
    if (!first || !last) return undefined;
    const firstText = first.textContent, lastText = last.textContent;
    const from = offsetIn(first, range.startContainer, range.startOffset);
    const to = offsetIn(last, range.endContainer, range.endOffset);
    const [start, end] = wholeWords(firstText, from, first === last ? to : firstText.length);
    const [lastStart, lastEnd] = first === last ? [start, end] : wholeWords(lastText, 0, to);
    if (start === end || lastStart === lastEnd) return undefined;

    const beginning = firstText.slice(start, end);
    const isWhole = first === last && beginning.length <= LONGEST_WHOLE;
    const found = isWhole ? beginning : firstWords(beginning);
    const before = oneLine(document.body.textContent.slice(0, offsetIn(document.body, first, 0) + start)).toLowerCase();
    let directive = encoded(found);
    if (!isWhole) directive += `,${encoded(lastWords(lastText.slice(lastStart, lastEnd)))}`;
    if (!before.includes(oneLine(found).toLowerCase())) return directive;
    const prefix = oneLine(lastWords(firstText.slice(0, start)));
    const suffix = oneLine(firstWords(lastText.slice(lastEnd)));
    return prefix ? `${encoded(prefix)}-,${directive}` : suffix ? `${directive},-${encoded(suffix)}` : directive;
  }

  function selectedInField() {
    const field = document.activeElement;
    if (!["INPUT", "TEXTAREA"].includes(field?.tagName) || field.type === "password") return "";
    try {
      return field.value.slice(field.selectionStart, field.selectionEnd);
    } catch {
      return "";  // a kind of field without a selection
    }
  }

  const selection = getSelection();
  const chosen = selection?.toString().trim();
  const result = {
    title: oneLine(document.title),
    url: location.href,
    canonical: document.querySelector('link[rel~="canonical" i]')?.href || undefined,
    selection: chosen || selectedInField() || undefined,
  };
  // Only the first frame's text is looked for.
  if (chosen && selection.rangeCount && self === top) {
    try {
      result.fragment = textDirective(selection.getRangeAt(0));
    } catch {
      // The address then leads to the page.
    }
  }
  return result;
}

/**
 * The bytes of a picture as the page itself gets them, in pieces of base64; nothing when it cannot be had. One of
 * another type than these is drawn, and so is one that the page's own rules do not let it fetch.
 */
export async function readPicture(address, types) {
  const PIECE = 768 << 10;  // of three bytes each, so that the pieces follow upon each other
  const LARGEST = 128 << 20;

  async function fetched(credentials) {
    try {
      const answer = await fetch(address, { credentials, cache: "force-cache" });
      const picture = await answer.blob();
      return answer.ok && types.includes(picture.type.split(";")[0]) ? picture : undefined;
    } catch {
      return undefined;
    }
  }

  async function drawn() {
    const image = [...globalThis.document?.images ?? []].find((each) => [each.currentSrc, each.src].includes(address));
    if (!image?.naturalWidth) return undefined;
    const canvas = document.createElement("canvas");
    canvas.width = image.naturalWidth;
    canvas.height = image.naturalHeight;
    try {
      canvas.getContext("2d").drawImage(image, 0, 0);
      return await new Promise((resolve) => canvas.toBlob(resolve)) ?? undefined;
    } catch {
      return undefined;  // of another site, which has not allowed this
    }
  }

  // A server that lets every page read its pictures wants no cookies with that.
  const picture = await fetched("include") ?? await fetched("omit") ?? await drawn();
  if (!picture || picture.size > LARGEST) return undefined;
  const pieces = [];
  for (let at = 0; at < picture.size; at += PIECE) {
    const reader = new FileReader();
    await new Promise((resolve, reject) => {
      reader.onload = resolve;
      reader.onerror = reject;
      reader.readAsDataURL(picture.slice(at, at + PIECE));
    });
    pieces.push(reader.result.slice(reader.result.indexOf(",") + 1));
  }
  return pieces;
}
