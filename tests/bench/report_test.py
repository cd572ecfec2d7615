"""bench/report.py: what it calls slower, missed and growing, and how it fills the page."""

import contextlib
import io
import json
import math
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))
import report  # noqa: E402 (lies in another folder)


def runs(name, label="", **figures):
    """Google Benchmark's entries of a benchmark: figures are lists, a value for each repetition."""
    count = len(next(iter(figures.values())))
    return [{"name": f"{name}/repeats:{count}/manual_time", "run_type": "iteration", "repetition_index": k,
             "label": label, "real_time": 1.0, "time_unit": "ms", "iterations": 10,
             **{key: values[k] for key, values in figures.items()}} for k in range(count)]


def result(**figures):
    return report.Result({"label": "", "figures": {key: [value] for key, value in figures.items()}})


class Noise(unittest.TestCase):
    def test_median_is_the_middle_one(self):
        self.assertEqual(report.median([5, 1, 3]), 3)
        self.assertEqual(report.median([4, 1, 3, 2]), 2.5)

    def test_spread_leaves_out_the_extremes_of_five(self):
        self.assertEqual(report.spread([1, 10, 11, 13, 90]), 3)
        self.assertEqual(report.spread([1, 10, 11]), 10)
        self.assertEqual(report.spread([7]), 0)

    def test_what_exceeds_twice_both_spreads_is_slower(self):
        earlier = [10.0, 10.1, 10.2, 10.3, 10.4]  # spread 0.2
        self.assertTrue(report.is_slower(earlier, [x + 0.81 for x in earlier]))
        self.assertFalse(report.is_slower(earlier, [x + 0.79 for x in earlier]))

    def test_spread_of_either_run_counts(self):
        calm, restless = [10.0] * 5, [9.0, 10.0, 11.0, 12.0, 13.0]  # spread 2, median 11
        self.assertFalse(report.is_slower(calm, restless))
        self.assertFalse(report.is_slower([9.0, 9.0, 10.0, 11.0, 11.0], [11.0] * 5))
        self.assertTrue(report.is_slower(calm, [11.0] * 5))

    def test_three_percent_are_noise_where_repetitions_are_alike(self):
        self.assertFalse(report.is_slower([100.0] * 5, [102.9] * 5))
        self.assertTrue(report.is_slower([100.0] * 5, [103.1] * 5))

    def test_what_others_differ_by_is_noise(self):
        def measured(own, other):
            return {"native": {str(k): result(own_ms=own, other_ms=other * (1 + k / 100), ratio=own / other)
                               for k in range(20)}}
        first, busier = measured(1.0, 1.0), measured(1.2, 1.0)
        self.assertEqual(report.noise_between(first, first), 0.03)
        self.assertEqual(len(report.slower(first, busier)), 20)
        for k in range(20):  # one of twenty times may differ by more
            busier["native"][str(k)] = result(own_ms=1.2, other_ms=(9 if k == 7 else 1.25) * (1 + k / 100), ratio=1.2)
        self.assertAlmostEqual(report.noise_between(first, busier), math.log(1.25))
        self.assertEqual(report.slower(first, busier), [])

    def test_faster_is_not_slower(self):
        self.assertFalse(report.is_slower([100.0] * 5, [50.0] * 5))

    def test_ratios_are_compared_where_there_are_some(self):
        self.assertEqual(report.compared_figures(result(own_ms=1, other_ms=2, ratio=0.5, pixels=3)), ["ratio"])
        self.assertEqual(report.compared_figures(result(one_ms=1, all_ms=2, gain=0.5, pixels=3)), ["one_ms", "all_ms"])
        self.assertEqual(report.compared_figures(result(us=1, n=2, work=1)), ["us"])


class Targets(unittest.TestCase):
    def test_ratio_above_its_target_is_missed(self):
        self.assertIsNone(report.missed("Not", result(own_ms=1, copy_ms=1, ratio=1.05, most=1.05)))
        self.assertEqual(report.missed("Not", result(own_ms=1, copy_ms=1, ratio=1.06, most=1.05)),
                         "Not: 1.06 times the time of copy, at most 1.05 was asked for")

    def test_median_of_the_ratios_decides(self):
        good = report.Result({"label": "", "figures": {"ratio": [0.9, 0.9, 2.0], "most": [1.0] * 3,
                                                       "missed": [0, 0, 1], "own_ms": [1] * 3, "a_ms": [1] * 3}})
        self.assertIsNone(report.missed("Not", good))

    def test_a_benchmark_may_judge_itself(self):
        self.assertEqual(report.missed("Thin", report.Result({"label": "", "figures": {
            "missed": [1, 1, 0], "Mpix/s": [200, 250, 310]}})), "Thin: Mpix/s 250")
        self.assertIsNone(report.missed("Thin", result(missed=0)))

    def test_threads_have_to_gain(self):
        def words(**figures):
            return report.missed("Sobel", result(**{"gain": 1.5, "loop_gain": 2.0, "memory_share": 0.5, **figures}))
        self.assertEqual(words(), "Sobel: all threads gain 1.50, a loop in registers gains 2.00; 0.85 of that was asked "
                                  "for")
        self.assertIsNone(words(gain=1.71))
        self.assertIsNone(words(loop_gain=1.69, gain=1.0))  # the machine has no second core to give
        self.assertIsNone(words(memory_share=0.81, gain=1.0))  # memory has no more bytes to give


class Growth(unittest.TestCase):
    def test_slope_of_powers(self):
        for power in (0, 1, 1.5, 2):
            self.assertAlmostEqual(report.slope([(n, 3 * n ** power) for n in (1, 2, 4, 8, 16, 32)]), power)

    def test_lower_half_does_not_count(self):
        cost_of_a_call = 1000.0
        points = [(n, max(cost_of_a_call, n)) for n in (1, 10, 100, 1000, 10000, 100000, 1000000)]
        self.assertAlmostEqual(report.slope(points), 1.0)

    def test_n_are_sorted_as_numbers(self):
        self.assertAlmostEqual(report.slope([(100, 100), (9, 9), (1000, 1000), (10, 10)]), 1.0)

    def curve(self, power, work):
        curve = report.Curve()
        curve.points = [(n, n ** power) for n in (1, 2, 4, 8)]
        curve.work = work
        return curve

    def test_what_grows_faster_than_its_work_is_named(self):
        curves = {"blobs/images/A": self.curve(1.2, 1.0), "blobs/images/B": self.curve(1.1, 1.0),
                  "tiles/textures/C": self.curve(0.2, 0.0)}
        self.assertEqual(report.growing(curves), ["blobs/images/A: slope 1.20, that of its work is 1",
                                                  "tiles/textures/C: slope 0.20, that of its work is 0"])

    def test_memory_may_grow_as_a_copy_does(self):
        curves = {"pixels/native/memcpy": self.curve(1.2, 1.0), "pixels/native/Not": self.curve(1.3, 1.0),
                  "pixels/textures/Not": self.curve(1.4, 1.0), "blobs/images/A": self.curve(1.3, 1.0)}
        self.assertEqual([line.split(":")[0] for line in report.growing(curves)],
                         ["pixels/textures/Not", "blobs/images/A"])


class Files(unittest.TestCase):
    def test_runs_of_a_benchmark_are_one_result(self):
        results = report.results_of(runs("Not/8UC3/VGA/real", own_ms=[1.0, 3.0, 2.0]) + [
            {"name": "Not/8UC3/VGA/real_mean", "run_type": "aggregate", "own_ms": 99.0}])
        self.assertEqual(list(results), ["Not/8UC3/VGA/real"])
        self.assertEqual(results["Not/8UC3/VGA/real"]["figures"]["own_ms"], [1.0, 3.0, 2.0])
        self.assertNotIn("us", results["Not/8UC3/VGA/real"]["figures"])

    def test_without_times_of_its_own_the_time_of_an_iteration_counts(self):
        results = report.results_of(runs("pixels/native/Not/n:64", n=[64], work=[1]))
        self.assertEqual(results["pixels/native/Not/n:64"]["figures"], {"n": [64], "work": [1], "us": [1000.0]})

    def test_an_error_ends_it(self):
        with self.assertRaisesRegex(SystemExit, "^bench/report.py: Not failed: pictures differ$"):
            report.results_of([{"name": "Not", "run_type": "iteration", "error_occurred": True,
                                "error_message": "pictures differ"}])

    def test_names_are_taken_apart(self):
        self.assertEqual(report.split_name("BGR2HSV/CV_8UC3/1080p/real"), ("BGR2HSV", "1080p", "8UC3, real"))
        self.assertEqual(report.split_name("pixelCount/CV_8UC1/memory"), ("PixelCount", "memory", "8UC1"))

    def test_numbers_have_three_digits(self):
        self.assertEqual([report.number(x) for x in (0, 0.01234, 1.234, 12.34, 123.4, 12345.6)],
                         ["0", "0.0123", "1.23", "12.3", "123", "12,346"])


class Page(unittest.TestCase):
    def test_text_between_markers_is_replaced(self):
        page = "before\n<!-- cpu -->\nold\n<!-- end of cpu -->\nafter\n"
        self.assertEqual(report.filled(page, {"cpu": "new\n"}),
                         "before\n<!-- cpu -->\nnew\n<!-- end of cpu -->\nafter\n")

    def test_a_lost_marker_is_said(self):
        with self.assertRaisesRegex(SystemExit, "expected one '<!-- cpu -->' and one '<!-- end of cpu -->'"):
            report.filled("<!-- cpu -->", {"cpu": ""})
        with self.assertRaises(SystemExit):
            report.filled("<!-- end of cpu -->", {"cpu": ""})

    def test_a_missed_target_is_marked_in_the_table(self):
        measured = report.with_medians({"native": report.results_of(
            runs("Not/CV_8UC1/VGA/real", own_ms=[0.3072], **{"cv::bitwise_not_ms": [0.1536]}, ratio=[2.0], most=[1.05])
            + runs("Not/8UC1/VGA/real/threads", one_ms=[0.3], all_ms=[0.1536], pixels=[307200]))})
        self.assertIn("| `Not` | 8UC1, real | 1,000 / – / – | 2,000 / – / – | `cv::bitwise_not` | 2.00 / – / – **missed** |",
                      report.native_table(measured["native"]))

    def test_operators_on_images_have_a_row_for_all_sizes(self):
        times = {"own_ms": [1.024], "cv::calcHist_ms": [2.048]}
        measured = report.with_medians({"cpu": report.results_of(
            runs("ColourHist2D/8 bins/1080p", ratio=[0.5], most=[0.25], **times)
            + runs("ColourHist2D/8 bins/VGA", ratio=[0.2], most=[0.25], **times)
            + runs("ColourHist2D/8 bins/region of 32 x 64", ratio=[0.04], most=[0.25], **times)
            + runs("FaceDetect/VGA", ratio=[1.0], **times))})
        self.assertEqual(report.cpu_table(measured["cpu"]).split("\n")[2:], [
            "| `ColourHist2D` | 8 bins | 1.02 / – / 1.02 / – | 300 / – / 2,025 / – | `cv::calcHist` | "
            "0.20 / – / 0.50 / – **missed** |",
            "| `ColourHist2D` | 8 bins, region of 32 x 64 | 1.02 | 2.00 | `cv::calcHist` | 0.040 |",
            "| `FaceDetect` | – | 1.02 / – / – / – | 300 / – / – / – | `cv::calcHist` | 1.00 / – / – / – |", ""])


NOISE = "NOISE what the operators are compared with differs by 3% between the runs\n"


class Program(unittest.TestCase):
    """The whole of it, on files."""

    def run_report(self, folder, ratio, *arguments):
        (folder / "native.json").write_text(json.dumps({
            "context": {"load_avg": [0.25, 1, 1]},
            "benchmarks": runs("Not/8UC1/1080p/real", own_ms=[1.0] * 5, cv_ms=[1.0] * 5, ratio=[ratio] * 5,
                               most=[1.05] * 5)}))
        return self.run_main(folder, ["native"], *arguments)

    @staticmethod
    def run_main(folder, programs, *arguments):
        said = io.StringIO()
        saved, sys.argv = sys.argv, ["report.py", *[str(folder / f"{each}.json") for each in programs], *map(str, arguments)]
        try:
            with contextlib.redirect_stdout(said):
                report.main()
        finally:
            sys.argv = saved
        return said.getvalue()

    def test_a_second_run_is_compared_with_the_first(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            first = folder / "first.json"
            self.assertEqual(self.run_report(folder, 1.0, "--out", first), "")
            same = self.run_report(folder, 1.02, "--out", folder / "second.json", "--earlier", first)
            self.assertEqual(same, NOISE)
            worse = self.run_report(folder, 1.2, "--out", folder / "third.json", "--earlier", first)
            self.assertEqual(worse, "MISSED native Not/8UC1/1080p/real: 1.20 times the time of cv, at most 1.05 was "
                                    "asked for\n" + NOISE + "SLOWER native Not/8UC1/1080p/real: ratio 1 -> 1.2\n")

    def test_the_page_is_filled(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            page = folder / "performance.md"
            page.write_text((ROOT / "docs" / "performance.md").read_text())
            self.run_report(folder, 1.0, "--out", folder / "all.json", "--page", page)
            self.assertIn("| `Not` | 8UC1, real | – / 2,074 / – | – | cv | – / 1.00 / – |\n", page.read_text())
            self.assertIn("The load was 0.2", page.read_text())
            self.assertTrue((folder / "performance-native.svg").read_text().startswith("<svg "))
            self.assertFalse((folder / "performance-cpu.svg").exists())  # nothing of it was measured

    def test_what_python_costs_stands_on_the_page(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            page = folder / "performance.md"
            page.write_text((ROOT / "docs" / "performance.md").read_text())
            entries = runs("call/Not/64x64", "velmor.not_", us=[0.9], native_us=[0.1], new_us=[0.75], missed=[0.0])
            entries += runs("call/Or/64x64", "velmor.or_", us=[1.0], native_us=[0.5], new_us=[2.75], missed=[1.0])
            entries += runs("beside/Not/8UC3/cv2/VGA", "cv2.bitwise_not", own_ms=[1.0], other_ms=[4.0], ratio=[0.25])
            entries += runs("beside/Not/8UC3/cv2/4K", "cv2.bitwise_not", own_ms=[50.0], other_ms=[40.0], ratio=[1.25])
            entries += runs("at once/BGR2HSV/32FC3/VGA", "velmor.bgr2hsv", in_turn_ms=[100.0], threads_ratio=[0.55],
                            processes_ratio=[0.5], missed=[0.0])
            entries += runs("at once/BGR2HSV/32FC3/4K", "velmor.bgr2hsv", in_turn_ms=[100.0], threads_ratio=[0.75],
                            processes_ratio=[0.6], missed=[1.0])
            for entry in entries:
                if "us" in entry:
                    entry.update(real_time=entry.pop("us"), time_unit="us")
            (folder / "python.json").write_text(json.dumps({"context": {}, "benchmarks": entries}))
            said = self.run_main(folder, ["python"], "--out", folder / "all.json", "--page", page)
            self.assertEqual(said, "MISSED python call/Or/64x64: native_us 0.5, new_us 2.75, us 1\n"
                                   "MISSED python at once/BGR2HSV/32FC3/4K: in_turn_ms 100, threads_ratio 0.75, "
                                   "processes_ratio 0.6\n")
            text = page.read_text()
            self.assertIn("| `velmor.not_` | 0.100 | 0.900 | 0.750 | 0.800 |\n", text)
            self.assertIn("| `velmor.or_` | 0.500 | 1.00 | 2.75 | 2.25 **missed** |\n", text)
            self.assertIn("| `Not` | 8UC3 | `cv2.bitwise_not` | 1.00 / 50.0 | 4.00 / 40.0 | 0.25 / 1.25 |\n", text)
            self.assertIn("Two Python threads that call `velmor.bgr2hsv` on floats at VGA / 4K, with one thread each, take "
                          "0.55 / 0.75", text)
            self.assertIn("Two processes take 0.50 / 0.60.", text.replace("\n", " "))

    def test_the_guide_shows_where_an_operator_is_fastest(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            guide = folder / "guide.md"
            guide.write_text((ROOT / "docs" / "guide.md").read_text())
            gpu = runs("Subtract/execute/4K", own_ms=[30.0]) + runs("Subtract/round trip/4K", own_ms=[50.0])
            (folder / "gpu.json").write_text(json.dumps({"context": {}, "benchmarks": gpu}))
            native = runs("Subtract/CV_8UC3/4K/real", own_ms=[9.0]) + \
                runs("Subtract/8UC3/4K/real/threads", one_ms=[2.0], all_ms=[1.25])
            (folder / "native.json").write_text(json.dumps({"context": {}, "benchmarks": native}))
            self.run_main(folder, ["native", "gpu"], "--out", folder / "all.json", "--guide", guide)
            crossing = guide.read_text().split("<!-- crossing -->")[1].split("<!-- end of crossing -->")[0]
            self.assertEqual(crossing.strip().splitlines()[2:], ["| `Subtract` | 4K | 2.00 | 1.25 | 30.0 | 50.0 |"])


class GStreamer(unittest.TestCase):
    def test_cost_of_an_element_is_missed_where_it_is_above_what_was_asked_for(self):
        measured = {"Not/cost/VGA": result(own_ms=0.03, ratio=1.5, **{"the operator alone_ms": 0.02}),
                    "Not/cost/1080p": result(own_ms=0.53, ratio=1.06, most=1.05, **{"the operator alone_ms": 0.5})}
        row = report.gstreamer_cost_table(measured).splitlines()[-1]
        self.assertEqual(row, "| `Not` | 0.0200 / 0.500 | 0.0300 / 0.530 | 1.50 / 1.06 **missed** |")

    def test_elements_beside_others_are_told_in_frames_a_second(self):
        measured = {"faces/beside/VGA": result(own_ms=20.0, facedetect_ms=40.0, ratio=0.5)}
        row = report.gstreamer_beside_table(measured).splitlines()[-1]
        self.assertEqual(row, "| faces | 50.0 | `facedetect` | 25.0 |")


if __name__ == "__main__":
    unittest.main()
