#!/usr/bin/python3
"""Draws a .vtu file of example_fem: draw.py bracket.vtu bracket.png"""
import sys
import xml.etree.ElementTree

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
from mpl_toolkits.mplot3d.art3d import Poly3DCollection  # noqa: E402


def array(piece, path, width, type_=float):
    return np.array(piece.find(path).text.split(), dtype=type_).reshape(-1, width)


def surface(tetrahedra):
    """Triangles that belong to one tetrahedron alone."""
    faces = np.concatenate([tetrahedra[:, [0, 1, 2]], tetrahedra[:, [0, 1, 3]], tetrahedra[:, [0, 2, 3]],
                            tetrahedra[:, [1, 2, 3]]])
    _, first, count = np.unique(np.sort(faces, axis=1), axis=0, return_index=True, return_counts=True)
    return faces[first[count == 1]]


def main(source, target):
    piece = xml.etree.ElementTree.parse(source).getroot().find("UnstructuredGrid/Piece")
    points = array(piece, "Points/DataArray", 3)
    moved = array(piece, "PointData/DataArray", 3)
    triangles = surface(array(piece, "Cells/DataArray[@Name='connectivity']", 4, int))
    size = np.linalg.norm(moved, axis=1)
    shown = points + moved * 0.1 / size.max()
    colours = plt.cm.viridis(size[triangles].mean(axis=1) / size.max())
    figure = plt.figure(figsize=(7, 4))
    axes = figure.add_subplot(projection="3d")
    axes.add_collection3d(Poly3DCollection(shown[triangles], facecolors=colours, edgecolors=(0, 0, 0, 0.25), linewidths=0.2))
    low, high = shown.min(axis=0), shown.max(axis=0)
    axes.set(xlim=(low[0], high[0]), ylim=(low[1], high[1]), zlim=(low[2], high[2]))
    axes.set_box_aspect(high - low)
    axes.set_axis_off()
    axes.view_init(elev=48, azim=-70)
    scale = plt.cm.ScalarMappable(plt.Normalize(0, size.max() * 1e6), "viridis")
    figure.colorbar(scale, ax=axes, shrink=0.6, label="displacement, micrometres")
    figure.savefig(target, dpi=110, bbox_inches="tight")


main(*sys.argv[1:])
