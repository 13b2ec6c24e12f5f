import math

import numpy as np
import pytest


def ball(count):
    """Points on the unit ball, the same numbers as examples/points_to_mesh.cpp."""
    golden = 2.399963229728653
    rows = []
    for i in range(count):
        z = 1.0 - 2.0 * (i + 0.5) / count
        radius = math.sqrt(1.0 - z * z)
        rows.append((radius * math.cos(golden * i), radius * math.sin(golden * i), z))
    return np.array(rows)


@pytest.fixture(scope="module")
def points():
    return ball(3000)


@pytest.fixture(scope="module")
def made(points):
    import zef

    return zef.reconstruct(points, colors=np.tile(np.uint8([9, 8, 7]), (len(points), 1)))


@pytest.fixture
def mesh(made):
    return made.copy()
