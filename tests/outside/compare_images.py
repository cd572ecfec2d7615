"""compare_images.py <comparison.md> [operator ...]

Compares the operators on images with other programs, as compare.py does the filters in main memory. Python finds the
module velmor in PYTHONPATH.
"""

import sys

import compare
import image_comparisons


def main(page, *operators):
    compare.compare_all(compare.rows_of(page, "Operators on images"), image_comparisons.COMPARISONS, operators)


if __name__ == "__main__":
    main(*sys.argv[1:])
