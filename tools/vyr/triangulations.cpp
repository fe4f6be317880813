// Meshes whose points are numbered at random, as a mesh generator may leave them: the ordering has to find
// everything by itself.
#include "tools/vyr/generators.h"
#include "tools/vyr/lower_builder.h"
#include "tools/vyr/random_numbers.h"

#include <array>
#include <numeric>

namespace vyr::tool {

namespace {

/// Laplacian plus 1e-3: the edges of a mesh as they come, between points that receive new numbers.
class Mesh {
public:
    Mesh(double n_points, double edges_a_point) : builder_(n_points, n_points * (1 + 3 * edges_a_point)) {
        number_.resize(static_cast<std::size_t>(n_points));
        std::iota(number_.begin(), number_.end(), 0);
        for (std::size_t i = number_.size(); i > 1; --i)
            std::swap(number_[i - 1],
                      number_[static_cast<std::size_t>(random_.below(static_cast<std::int32_t>(i)))]);
        for (const std::int32_t point : number_) builder_.add(point, point, 1e-3);
    }
    void connect(std::int32_t a, std::int32_t b) {
        const std::int32_t i = number_[static_cast<std::size_t>(a)], j = number_[static_cast<std::size_t>(b)];
        builder_.add(i, i, 1);
        builder_.add(j, j, 1);
        builder_.add(i, j, -1);
    }
    bool toss() { return random_.below(2) == 0; }
    SparseMatrix finish() { return builder_.finish(); }

private:
    RandomNumbers random_{3};
    LowerBuilder builder_;
    std::vector<std::int32_t> number_;
};

} // namespace

SparseMatrix triangulation2d(std::int32_t side) {
    require_side(side, 1);
    Mesh mesh(1.0 * side * side, 3);
    for (std::int32_t y = 0; y < side; ++y) {
        for (std::int32_t x = 0; x < side; ++x) {
            const std::int32_t point = y * side + x;
            const bool right = x + 1 < side, up = y + 1 < side;
            if (right) mesh.connect(point, point + 1);
            if (up) mesh.connect(point, point + side);
            if (!right || !up) continue;
            if (mesh.toss())
                mesh.connect(point, point + side + 1);
            else
                mesh.connect(point + 1, point + side);
        }
    }
    return mesh.finish();
}

// The six tetrahedra of a cube about its diagonal: an edge wherever a cube's corner is met by going up only.
SparseMatrix triangulation3d(std::int32_t side) {
    require_side(side, 1);
    Mesh mesh(1.0 * side * side * side, 7);
    const std::array<std::int32_t, 3> step = {1, side, side * side};
    for (std::int32_t point = 0; point < step[2] * side; ++point) {
        for (unsigned corner = 1; corner < 8; ++corner) {
            std::int32_t other = point;
            bool inside = true;
            for (unsigned d = 0; d < 3; ++d) {
                if ((corner >> d & 1U) == 0) continue;
                inside = inside && point / step[d] % side + 1 < side;
                other += step[d];
            }
            if (inside) mesh.connect(point, other);
        }
    }
    return mesh.finish();
}

} // namespace vyr::tool
