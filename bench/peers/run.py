#!/usr/bin/env python3
"""Makes a mesh of points with another library: run.py PEER IN.ply OUT.ply SPACING

A process of its own for each, as whose peak of memory counts. Prints the seconds between having loaded the library and
having written the mesh, file to file as with this library's own tool. Settings follow the peers' documentation;
lengths come from SPACING, the root of the area that one point has, which no user is told elsewhere.
"""
import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
FRONT = os.path.join(HERE, "..", "..", "build", "peers", "advancing_front")


def open3d_points(path):
    import open3d
    points = open3d.io.read_point_cloud(path)
    points.estimate_normals(open3d.geometry.KDTreeSearchParamKNN(24))
    points.orient_normals_consistent_tangent_plane(24)
    return open3d, points


def open3d_poisson(source, out, spacing):
    import math
    open3d, points = open3d_points(source)
    side = 1.1 * max(points.get_axis_aligned_bounding_box().get_extent())
    depth = math.ceil(math.log2(side / (1.5 * spacing)))
    mesh = open3d.geometry.TriangleMesh.create_from_point_cloud_poisson(points, depth=depth)[0]
    open3d.io.write_triangle_mesh(out, mesh)


def open3d_ball(source, out, spacing):
    open3d, points = open3d_points(source)
    radii = open3d.utility.DoubleVector([spacing, 2 * spacing, 4 * spacing])
    mesh = open3d.geometry.TriangleMesh.create_from_point_cloud_ball_pivoting(points, radii)
    open3d.io.write_triangle_mesh(out, mesh)


def vtk_distance(source, out, spacing):
    import vtk
    reader, normals = vtk.vtkPLYReader(), vtk.vtkPCANormalEstimation()
    field, surface, writer = vtk.vtkSignedDistance(), vtk.vtkExtractSurface(), vtk.vtkPLYWriter()
    reader.SetFileName(source)
    reader.Update()
    normals.SetInputConnection(reader.GetOutputPort())
    normals.SetSampleSize(24)
    normals.SetNormalOrientationToGraphTraversal()
    normals.FlipNormalsOn()
    side, bounds = 1.6 * spacing, reader.GetOutput().GetBounds()
    low, high = [b - 5 * spacing for b in bounds[::2]], [b + 5 * spacing for b in bounds[1::2]]
    field.SetInputConnection(normals.GetOutputPort())
    field.SetBounds(*[b for pair in zip(low, high) for b in pair])
    field.SetDimensions(*[2 + int((h - l) / side) for l, h in zip(low, high)])
    field.SetRadius(2 * side)
    surface.SetInputConnection(field.GetOutputPort())
    surface.SetRadius(1.99 * side)
    writer.SetInputConnection(surface.GetOutputPort())
    writer.SetFileName(out)
    writer.Write()


def pcl_greedy(source, out, spacing):
    with tempfile.TemporaryDirectory() as folder:
        at = lambda name: os.path.join(folder, name)
        for command in (["pcl_ply2pcd", source, at("points.pcd")],
                        ["pcl_normal_estimation", at("points.pcd"), at("normals.pcd"), "-k", "24"],
                        ["pcl_gp3_surface", at("normals.pcd"), at("mesh.vtk"), "-radius", str(6 * spacing), "-mu", "2.5"],
                        ["pcl_vtk2ply", at("mesh.vtk"), out]):
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def cgal_front(source, out, spacing):
    tool = os.environ["ZEF_TOOL"]
    with tempfile.TemporaryDirectory() as folder:
        text, mesh = os.path.join(folder, "points.xyz"), os.path.join(folder, "mesh.off")
        subprocess.run([tool, "convert", source, "-o", text, "-q"], check=True, stdout=subprocess.DEVNULL)
        begin = time.perf_counter()
        subprocess.run([FRONT, text, mesh], check=True)
        seconds = time.perf_counter() - begin
        subprocess.run([tool, "convert", mesh, "-o", out, "-q"], check=True, stdout=subprocess.DEVNULL)
    return seconds


# name, module that must be there, function
PEERS = {"Open3D Poisson": ("open3d", open3d_poisson), "Open3D ball pivoting": ("open3d", open3d_ball),
         "VTK signed distance": ("vtk", vtk_distance), "PCL greedy projection": ("pcl_gp3_surface", pcl_greedy),
         "CGAL advancing front": (FRONT, cgal_front)}


def main():
    name, source, out, spacing = sys.argv[1:]
    module, run = PEERS[name]
    if module in ("open3d", "vtk"):
        __import__(module)
    begin = time.perf_counter()
    seconds = run(source, out, float(spacing))
    print(seconds or time.perf_counter() - begin)


if __name__ == "__main__":
    main()
