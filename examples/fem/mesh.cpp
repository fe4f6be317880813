#include "mesh.h"

#include <fstream>
#include <stdexcept>
#include <unordered_map>

namespace {

constexpr int TETRAHEDRON = 4; // gmsh's number of the element type
constexpr int VTK_TETRAHEDRON = 10;

[[noreturn]] void refuse(const std::string& path, const char* why) {
    throw std::runtime_error(path + ": " + why);
}

void skip_to(std::istream& file, const std::string& path, const std::string& section) {
    for (std::string line; std::getline(file, line);)
        if (line.rfind(section, 0) == 0) return;
    refuse(path, ("no " + section).c_str());
}

} // namespace

Mesh read_mesh(const std::string& path) {
    std::ifstream file(path);
    if (!file) refuse(path, "cannot be read");
    Mesh mesh;
    std::size_t count = 0;
    double version = 0;
    skip_to(file, path, "$MeshFormat");
    if (!(file >> version) || version < 2 || version >= 3) refuse(path, "not of format 2.2");

    skip_to(file, path, "$Nodes");
    std::unordered_map<long, std::int32_t> place;
    file >> count;
    for (std::size_t k = 0; k < count && file; ++k) {
        long tag = 0;
        std::array<double, 3> p{};
        file >> tag >> p[0] >> p[1] >> p[2];
        place[tag] = static_cast<std::int32_t>(mesh.nodes.size());
        mesh.nodes.push_back(p);
    }

    skip_to(file, path, "$Elements");
    file >> count;
    for (std::size_t k = 0; k < count && file; ++k) {
        long tag = 0, type = 0, n_tags = 0;
        file >> tag >> type >> n_tags;
        for (long t = 0; t < n_tags; ++t) file >> tag;
        if (type == TETRAHEDRON) {
            std::array<std::int32_t, 4> corners{};
            for (std::int32_t& corner : corners) {
                file >> tag;
                const auto found = place.find(tag);
                if (found == place.end()) refuse(path, "an element has a node that is not there");
                corner = found->second;
            }
            mesh.tetrahedra.push_back(corners);
        } else {
            std::string rest;
            std::getline(file, rest);
        }
    }
    if (!file) refuse(path, "ends too early");
    if (mesh.tetrahedra.empty()) refuse(path, "has no tetrahedra");
    return mesh;
}

void write_vtu(const std::string& path, const Mesh& mesh, const char* name,
               const std::vector<double>& vectors) {
    std::ofstream file(path);
    file << "<VTKFile type=\"UnstructuredGrid\" version=\"0.1\"><UnstructuredGrid>\n<Piece NumberOfPoints=\""
         << mesh.nodes.size() << "\" NumberOfCells=\"" << mesh.tetrahedra.size() << "\">\n<Points>"
         << "<DataArray type=\"Float64\" NumberOfComponents=\"3\" format=\"ascii\">\n";
    for (const auto& p : mesh.nodes) file << p[0] << ' ' << p[1] << ' ' << p[2] << '\n';
    file << "</DataArray></Points>\n<Cells><DataArray type=\"Int32\" Name=\"connectivity\" "
            "format=\"ascii\">\n";
    for (const auto& t : mesh.tetrahedra) file << t[0] << ' ' << t[1] << ' ' << t[2] << ' ' << t[3] << '\n';
    file << "</DataArray><DataArray type=\"Int32\" Name=\"offsets\" format=\"ascii\">\n";
    for (std::size_t k = 1; k <= mesh.tetrahedra.size(); ++k) file << 4 * k << '\n';
    file << "</DataArray><DataArray type=\"UInt8\" Name=\"types\" format=\"ascii\">\n";
    for (std::size_t k = 0; k < mesh.tetrahedra.size(); ++k) file << VTK_TETRAHEDRON << '\n';
    file << "</DataArray></Cells>\n<PointData Vectors=\"" << name << "\"><DataArray type=\"Float64\" Name=\""
         << name << "\" NumberOfComponents=\"3\" format=\"ascii\">\n";
    for (std::size_t k = 0; k + 2 < vectors.size(); k += 3)
        file << vectors[k] << ' ' << vectors[k + 1] << ' ' << vectors[k + 2] << '\n';
    file << "</DataArray></PointData>\n</Piece></UnstructuredGrid></VTKFile>\n";
    if (!file.flush()) refuse(path, "cannot be written");
}
