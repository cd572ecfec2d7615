# Written by python/stubs.py.
from ._gl import And as And
from ._gl import BGR2GRAY as BGR2GRAY
from ._gl import BGR2HSV as BGR2HSV
from ._gl import BayerRG2GRAY as BayerRG2GRAY
from ._gl import BayerRG2RGB as BayerRG2RGB
from ._gl import Classify as Classify
from ._gl import ColorGMM as ColorGMM
from ._gl import ColorGMM2 as ColorGMM2
from ._gl import ColorHistShader as ColorHistShader
from ._gl import Context as Context
from ._gl import DebugUInt2Float as DebugUInt2Float
from ._gl import DriverAdapter as DriverAdapter
from ._gl import Filter as Filter
from ._gl import FlipV as FlipV
from ._gl import Format as Format
from ._gl import GRAY2Sobel as GRAY2Sobel
from ._gl import Laplacian as Laplacian
from ._gl import NonMaxSupression as NonMaxSupression
from ._gl import Not as Not
from ._gl import Or as Or
from ._gl import PixelCount as PixelCount
from ._gl import RGB2GRAY as RGB2GRAY
from ._gl import RGB2HSV as RGB2HSV
from ._gl import StateGuard as StateGuard
from ._gl import Subtract as Subtract
from ._gl import Texture as Texture
from ._gl import Xor as Xor

__all__ = [
    "And",
    "BGR2GRAY",
    "BGR2HSV",
    "BayerRG2GRAY",
    "BayerRG2RGB",
    "Classify",
    "ColorGMM",
    "ColorGMM2",
    "ColorHistShader",
    "Context",
    "DebugUInt2Float",
    "DriverAdapter",
    "Filter",
    "FlipV",
    "Format",
    "GRAY2Sobel",
    "Laplacian",
    "NonMaxSupression",
    "Not",
    "Or",
    "PixelCount",
    "RGB2GRAY",
    "RGB2HSV",
    "StateGuard",
    "Subtract",
    "Texture",
    "Xor",
]
