"""Mixtures by their formulas, in plain numpy and doubles."""

from __future__ import annotations

import numpy as np
import velmor


def model(*components: tuple, threshold: float) -> velmor.ColourModel:
    """Give a model of components: weight, mean and covariance of each."""
    weights, means, covariances = zip(*components)
    return velmor.ColourModel(weights, means, covariances, threshold)


def skin(threshold: float = 2e-5) -> velmor.ColourModel:
    """Give a model of two components that overlap."""
    return model(
        (0.6, (120, 128), ((900, 250), (250, 700))),
        (0.4, (170, 90), ((400, -90), (-90, 1200))),
        threshold=threshold,
    )


def density(made: velmor.ColourModel, colours: np.ndarray) -> np.ndarray:
    """Give the density of colours, whose first two channels are on 0..255."""
    total = np.zeros(colours.shape[:-1])
    components = zip(made.weights, made.means, made.inverse_covariances, made.determinants)
    for weight, mean, inverse, determinant in components:
        away = colours[..., :2].astype(float) - mean
        form = np.einsum("...i,ij,...j", away, inverse, away)
        total += weight * np.exp(-form / 2) / (2 * np.pi * np.sqrt(determinant))
    return total


def all_pairs() -> np.ndarray:
    """Give a picture of every pair of bytes, with a third one that must not matter."""
    first, second = np.indices((256, 256), np.uint8)
    return np.dstack([first, second, first ^ second])


def clear_of(values: np.ndarray, border: float) -> np.ndarray:
    """Say where values are so far from a border that no rounding decides."""
    return np.abs(values / border - 1) > 1e-9
