# Written by python/stubs.py.
from ._core import BLOB_DTYPE as BLOB_DTYPE
from .blobs import Blob as Blob
from ._core import ColorGMM as ColorGMM
from ._core import ColorGMM2 as ColorGMM2
from ._core import ColourDetector as ColourDetector
from ._core import ColourHistogram as ColourHistogram
from ._core import ColourModel as ColourModel
from ._core import FaceDetect as FaceDetect
from ._core import Moments as Moments
from ._core import MotionSegment as MotionSegment
from ._core import __version__ as __version__
from ._core import and_ as and_
from ._core import bayer_rg2gray as bayer_rg2gray
from ._core import bayer_rg2rgb as bayer_rg2rgb
from ._core import bgr2gray as bgr2gray
from ._core import bgr2hsv as bgr2hsv
from ._core import classify as classify
from ._core import color_hist_shader as color_hist_shader
from ._core import colour_hist2d as colour_hist2d
from ._core import debug_uint2float as debug_uint2float
from ._core import flip_v as flip_v
from ._core import get_num_threads as get_num_threads
from ._core import gray2sobel as gray2sobel
from ._core import laplacian as laplacian
from ._core import non_max_supression as non_max_supression
from ._core import not_ as not_
from ._core import or_ as or_
from ._core import pixel_count as pixel_count
from ._core import rgb2gray as rgb2gray
from ._core import rgb2hsv as rgb2hsv
from ._core import set_num_threads as set_num_threads
from ._core import subtract as subtract
from ._core import xor as xor

__all__ = [
    "BLOB_DTYPE",
    "Blob",
    "ColorGMM",
    "ColorGMM2",
    "ColourDetector",
    "ColourHistogram",
    "ColourModel",
    "FaceDetect",
    "Moments",
    "MotionSegment",
    "and_",
    "bayer_rg2gray",
    "bayer_rg2rgb",
    "bgr2gray",
    "bgr2hsv",
    "classify",
    "color_hist_shader",
    "colour_hist2d",
    "debug_uint2float",
    "flip_v",
    "get_num_threads",
    "gray2sobel",
    "laplacian",
    "non_max_supression",
    "not_",
    "or_",
    "pixel_count",
    "rgb2gray",
    "rgb2hsv",
    "set_num_threads",
    "subtract",
    "xor",
]
