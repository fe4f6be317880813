// Tetrahedra, as gmsh writes them.
#ifndef VYR_EXAMPLES_FEM_MESH_H
#define VYR_EXAMPLES_FEM_MESH_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct Mesh {
    std::vector<std::array<double, 3>> nodes;            ///< metres
    std::vector<std::array<std::int32_t, 4>> tetrahedra; ///< nodes, 0-based
};

/// Reads a mesh of format 2.2, text (gmsh -format msh22). Throws std::runtime_error for anything else, and
/// for a mesh without tetrahedra.
Mesh read_mesh(const std::string& path);

/// Writes a .vtu file (VTK, text) with one vector a node, `name`. Throws std::runtime_error.
void write_vtu(const std::string& path, const Mesh& mesh, const char* name,
               const std::vector<double>& vectors);

#endif
