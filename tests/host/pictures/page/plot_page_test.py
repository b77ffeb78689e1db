"""Opens the pages of `talvora-host plot` in a browser and looks at what they draw.

    plot_page_test.py TALVORA_HOST

Exit code 77 when there is no browser to open them with.
"""

import math
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

try:
    from selenium import webdriver
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
except ImportError:
    webdriver = None

HOST = ""
SKIPPED = 77
FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--window-size=1000,900", "--force-device-scale-factor=1"]
BLUE = (0, 114, 178)  # of the first line

MILLION = 1_000_000
SPIKE, HOLE = 700_001, 250_000


def write_table(path, columns):
    rows = zip(*columns.values())
    lines = [",".join(columns)] + [",".join(map(str, row)) for row in rows]
    path.write_text("\n".join(lines) + "\n")


def start_browser(profile):
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for flag in [*FLAGS, f"--user-data-dir={profile}"]:
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    service = webdriver.chrome.service.Service(shutil.which("chromedriver"))
    return webdriver.Chrome(service=service, options=options)


class PlotPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.folder = pathlib.Path(cls.temporary.name)
        cls.browser = start_browser(cls.folder / "profile")
        cls.addClassCleanup(cls.browser.quit)
        cls.make_recordings()

    @classmethod
    def host(cls, *words):
        subprocess.run([HOST, *words], cwd=cls.folder, check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.PIPE)

    @classmethod
    def make_recordings(cls):
        # 10 s at 100 Hz, the samples from 4 s up to 5 s missing.
        ramp = ["nan" if 400 <= i < 500 else i for i in range(1000)]
        write_table(cls.folder / "ramp.csv", {"X": ramp})
        cls.host("import", "ramp.csv", "-o", "ramp.h5", "--rate", "100")
        # The same at 30 Hz without a gap, so that no time but the first is shared exactly.
        write_table(cls.folder / "slow.csv", {"X": [i / 0.3 for i in range(300)]})
        cls.host("import", "slow.csv", "-o", "slow.h5", "--rate", "30")
        # A million samples between -1 and 1, one of them 50, one missing.
        long = [f"{math.sin(i / 500):.5f}" for i in range(MILLION)]
        long[SPIKE], long[HOLE] = "50", "nan"
        cls.long = [None if text == "nan" else float(text) for text in long]
        write_table(cls.folder / "long.csv", {"X": long})
        cls.host("import", "long.csv", "-o", "long.h5", "--rate", "1000")

    def tearDown(self):
        complaints = [entry["message"] for entry in self.browser.get_log("browser")
                      if entry["level"] == "SEVERE"]
        self.assertEqual(complaints, [])

    def open_plot(self, *words):
        self.host("plot", *words, "-o", "plot.html", "--force")
        self.browser.get((self.folder / "plot.html").as_uri())

    def ask(self, expression):
        return self.browser.execute_script(f"return {expression}")

    def span(self):
        return self.ask("[plotPage.panels[0].chart.scales.x.min, "
                        "plotPage.panels[0].chart.scales.x.max]")

    def drawn(self, series=1):
        """Positions and values as the chart has them; values that only align are left out."""
        positions, values, there = self.ask(
            f"(d => [d[0], d[{series}].map(v => v ?? null), d[{series}].map(v => v !== undefined)])"
            "(plotPage.panels[0].chart.data)")
        return [(x, y) for x, y, is_there in zip(positions, values, there) if is_there]

    def inked_columns(self, color=BLUE):
        """The columns of the plotting area, from 0 to 1, in which a line of this colour runs."""
        return self.ask(f"""(chart => {{
            const {{left, top, width, height}} = chart.bbox;
            const pixels = chart.ctx.getImageData(left, top, width, height).data;
            const inked = new Set();
            for (let i = 0; i < pixels.length; i += 4)
                if (Math.abs(pixels[i] - {color[0]}) + Math.abs(pixels[i + 1] - {color[1]}) +
                    Math.abs(pixels[i + 2] - {color[2]}) < 60)
                    inked.add((i / 4) % width);
            return [...inked].sort((a, b) => a - b).map(x => x / width);
        }})(plotPage.panels[0].chart)""")

    def drag(self, from_part, to_part):
        """With the mouse over the chart, by parts of its width."""
        over = self.browser.find_element(By.CSS_SELECTOR, ".u-over")
        width = over.size["width"]
        (ActionChains(self.browser)
         .move_to_element_with_offset(over, int((from_part - 0.5) * width), 0).click_and_hold()
         .move_by_offset(int((to_part - from_part) * width), 0).release().perform())

    def double_click(self):
        over = self.browser.find_element(By.CSS_SELECTOR, ".u-over")
        ActionChains(self.browser).double_click(over).perform()

    # -------------------------------------------------------------------------

    def test_draws_every_sample_where_there_is_room(self):
        self.open_plot("ramp.h5")
        drawn = self.drawn()
        self.assertEqual(len(drawn), 1000)
        self.assertEqual([y for _, y in drawn],
                         [None if 400 <= i < 500 else i for i in range(1000)])
        for i, (x, _) in enumerate(drawn):
            self.assertAlmostEqual(x, i / 100)
        self.assertGreater(len(self.inked_columns()), 700)

    def test_leaves_a_gap_without_ink(self):
        self.open_plot("ramp.h5")
        columns = self.inked_columns()
        self.assertTrue(any(0.38 < x < 0.4 for x in columns), "left of the gap")
        self.assertTrue(any(0.5 < x < 0.52 for x in columns), "right of it")
        self.assertEqual([x for x in columns if 0.405 < x < 0.495], [])

    def test_zooms_by_dragging_and_back_by_a_double_click(self):
        self.open_plot("ramp.h5")
        full = self.span()
        self.drag(0.2, 0.5)
        first, last = self.span()
        self.assertAlmostEqual(first, 2, delta=0.05)
        self.assertAlmostEqual(last, 5, delta=0.05)
        columns = self.inked_columns()
        self.assertTrue(any(x < 0.6 for x in columns))
        self.assertEqual([x for x in columns if 0.68 < x < 0.98], [])
        self.double_click()
        self.assertEqual(self.span(), full)

    def test_takes_a_click_for_no_drag(self):
        self.open_plot("ramp.h5")
        full = self.span()
        self.drag(0.2, 0.2)
        self.assertEqual(self.span(), full)

    def test_thins_a_million_samples_to_the_extremes_of_each_pixel(self):
        self.open_plot("long.h5")
        drawn = self.drawn()
        pixels = self.ask("plotPage.panels[0].chart.width")
        self.assertLess(len(drawn), 3 * pixels)
        values = [y for _, y in drawn if y is not None]
        self.assertEqual(max(values), 50)
        expected = []
        for bucket in range(pixels):
            share = self.long[bucket * MILLION // pixels:(bucket + 1) * MILLION // pixels]
            there = [y for y in share if y is not None]
            expected.append((min(there), max(there)))
        pairs = [tuple(sorted(pair)) for pair in zip(values[::2], values[1::2])]
        self.assertEqual(len(pairs), len(expected))
        for (low, high), (least, greatest) in zip(pairs, expected):
            self.assertAlmostEqual(low, least, places=6)
            self.assertAlmostEqual(high, greatest, places=6)

    def test_cuts_a_line_at_one_missing_sample_of_a_million(self):
        self.open_plot("long.h5")
        cuts = [x for x, y in self.drawn() if y is None]
        self.assertEqual(len(cuts), 1)
        self.assertAlmostEqual(cuts[0], HOLE / 1000, delta=1.2)

    def test_shows_every_sample_after_zooming_in_far(self):
        self.open_plot("long.h5")
        for _ in range(4):
            self.drag(0.24, 0.27)
        first, last = self.span()
        count = (last - first) * 1000
        self.assertLess(count, 5)
        self.assertAlmostEqual(len(self.drawn()), count + 3, delta=2)
        for x, y in self.drawn():
            self.assertAlmostEqual(y, self.long[round(x * 1000)], places=6)

    def test_leaves_the_one_missing_sample_open_when_it_is_seen(self):
        self.open_plot("long.h5", "--from", "249.99", "--to", "250.01")
        drawn = self.drawn()
        self.assertEqual([round(x * 1000) for x, y in drawn if y is None], [HOLE])
        columns = self.inked_columns()
        self.assertEqual([x for x in columns if 0.46 < x < 0.54], [])
        self.assertTrue(any(0.40 < x < 0.45 for x in columns))

    def test_draws_lines_of_two_rates_over_each_other(self):
        self.open_plot("ramp.h5", "--with", "slow.h5")
        labels = [e.text for e in self.browser.find_elements(By.CSS_SELECTOR, ".u-label")]
        self.assertIn("ramp.h5", labels)
        self.assertIn("slow.h5", labels)
        self.assertEqual(len(self.drawn(1)), 1000 + self.count_cuts_for_alignment())
        self.assertEqual(len(self.drawn(2)), 300)
        pale = tuple(round(0.6 * 255 + 0.4 * c) for c in BLUE)
        self.assertEqual([x for x in self.inked_columns(pale) if 0.42 < x < 0.48], [])
        self.assertTrue(any(0.42 < x < 0.48 for x in self.inked_columns()))

    def count_cuts_for_alignment(self):
        """Positions of the other line inside the gap, which is cut there as well."""
        return len([x for x, y in self.drawn(1) if y is None]) - 100

    def test_marks_a_sample_alone_between_missing_ones(self):
        write_table(self.folder / "lone.csv", {"X": [0 if i == 500 else "nan" for i in range(1000)],
                                               "Y": [1] * 1000})
        self.host("import", "lone.csv", "-o", "lone.h5", "--rate", "100")
        self.open_plot("lone.h5::*/X")
        self.assertTrue(any(abs(x - 0.5) < 0.01 for x in self.inked_columns()))

    def test_links_the_panels_over_one_axis(self):
        write_table(self.folder / "two.csv", {"X": range(100), "Y": range(100)})
        self.host("import", "two.csv", "-o", "two.h5", "--rate", "10")
        self.open_plot("two.h5")
        self.drag(0.5, 0.75)
        spans = self.ask("plotPage.panels.map(p => [p.chart.scales.x.min, p.chart.scales.x.max])")
        self.assertEqual(spans[0], spans[1])
        self.assertAlmostEqual(spans[1][0], 4.95, delta=0.1)

    def test_shows_texts_as_they_are(self):
        name = "<img src=x onerror=\"window.broken=1\">&amp;'\""
        title = "</script><script>window.broken=1</script><!--"
        quoted_name = '"' + name.replace('"', '""') + '"'
        write_table(self.folder / "odd.csv", {quoted_name: range(10)})
        self.host("import", "odd.csv", "-o", "odd.h5", "--rate", "10")
        self.open_plot("odd.h5", "--title", title, "--label", title)
        self.assertIsNone(self.ask("window.broken ?? null"))
        self.assertEqual(self.browser.find_element(By.TAG_NAME, "h1").text, title)
        self.assertEqual(self.browser.find_element(By.TAG_NAME, "h2").text, f"Signals/{name}")
        self.assertEqual(self.browser.title, title)
        self.assertEqual(len(self.drawn()), 10)

    def test_loads_nothing_from_anywhere(self):
        self.open_plot("ramp.h5")
        self.assertEqual(self.ask("performance.getEntriesByType('resource').map(e => e.name)"), [])

    def test_opens_with_sets_that_show_nothing(self):
        write_table(self.folder / "void.csv", {"X": [1, "nan"], "Y": [1, 2]})
        self.host("import", "void.csv", "-o", "void.h5", "--rate", "10")
        self.open_plot("void.h5::*/X")
        self.assertEqual([y for _, y in self.drawn()], [1, None])


if __name__ == "__main__":
    HOST = os.path.abspath(sys.argv.pop(1))
    if webdriver is None or not shutil.which("chromium") or not shutil.which("chromedriver"):
        print("skipped: chromium, chromium-driver and python3-selenium are not all installed "
              "(scripts/setup check installs them)")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)
