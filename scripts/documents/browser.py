"""browser.py HTML - has Chromium lay out every page at the width of a phone and of a desktop, and
fails where one is wider than that."""

import pathlib
import re
import subprocess
import sys
import tempfile

WIDTHS = (390, 1280)
# Frames of these widths, one page after the other; the text names what is wider than its frame.
MEASURE = """<!DOCTYPE html><title>measure</title><pre id="result"></pre><script>
const pages = %s, widths = %s;
async function measure(page, width) {
    const frame = document.createElement("iframe");
    frame.style.cssText = `width: ${width}px; height: 800px; border: 0`;
    frame.src = page;
    const loaded = new Promise(done => { frame.onload = done; });
    document.body.append(frame);
    await loaded;
    const wide = frame.contentDocument.documentElement.scrollWidth;
    frame.remove();
    return wide > width ? `${page}: ${wide} of ${width}\\n` : "";
}
(async () => {
    let text = "";
    for (const page of pages) for (const width of widths) text += await measure(page, width);
    document.getElementById("result").textContent = text + "measured";
})();
</script>
"""


def dump(document):
    """The document as it is when its script has run."""
    with tempfile.TemporaryDirectory() as profile:
        return subprocess.run(
            [
                "chromium",
                "--headless",
                "--no-sandbox",
                "--disable-gpu",
                "--allow-file-access-from-files",
                f"--user-data-dir={profile}",
                "--virtual-time-budget=600000",
                "--dump-dom",
                document.as_uri(),
            ],
            check=True,
            capture_output=True,
            text=True,
            timeout=300,
        ).stdout


def main(html):
    pages = [str(page.relative_to(html)) for page in sorted(html.rglob("*.html"))]
    with tempfile.NamedTemporaryFile("w", dir=html, suffix=".html") as document:
        document.write(MEASURE % (pages, list(WIDTHS)))
        document.flush()
        dumped = dump(pathlib.Path(document.name))
    result = re.search(r'<pre id="result">(.*?)measured</pre>', dumped, re.DOTALL)
    if result is None:
        sys.exit("The browser did not get through the pages.")
    if result.group(1):
        sys.exit("Wider than the window:\n" + result.group(1))
    print(f"{len(pages)} pages fit into {' and '.join(map(str, WIDTHS))} pixels.")


main(pathlib.Path(sys.argv[1]).resolve())
