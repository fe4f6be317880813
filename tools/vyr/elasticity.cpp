// Trilinear hexahedra for isotropic linear elasticity, as in any text on finite elements (Hughes, The Finite
// Element Method, 1987, ch. 3). All elements are the same unit cube, so one stiffness matrix serves all, and
// the global matrix is written column by column without an assembly of triplets.
#include "tools/vyr/generators.h"
#include "tools/vyr/size_check.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vyr::tool {

namespace {

constexpr int CORNERS = 8;
constexpr double YOUNGS_MODULUS = 1.0;
constexpr double POISSON_RATIO = 0.3;

using Block = std::array<std::array<double, 3>, 3>; ///< couples the three directions of two nodes
using ElementStiffness = std::array<std::array<Block, CORNERS>, CORNERS>;

/// Bit d of a corner number tells on which side of the cube it lies in direction d.
constexpr int corner_side(int corner, int direction) {
    return corner >> direction & 1;
}

/// Gradient of a corner's shape function, the product of x or 1 - x over the directions, at `point`.
std::array<double, 3> shape_gradient(int corner, const std::array<double, 3>& point) {
    std::array<double, 3> gradient{};
    for (int d = 0; d < 3; ++d) {
        double product = corner_side(corner, d) ? 1.0 : -1.0;
        for (int e = 0; e < 3; ++e) {
            const double x = point[static_cast<std::size_t>(e)];
            if (e != d) product *= corner_side(corner, e) ? x : 1.0 - x;
        }
        gradient[static_cast<std::size_t>(d)] = product;
    }
    return gradient;
}

/// Stiffness of the unit cube by 2 x 2 x 2 Gauss points, each of weight 1/8.
ElementStiffness element_stiffness() {
    const double lambda = YOUNGS_MODULUS * POISSON_RATIO / ((1 + POISSON_RATIO) * (1 - 2 * POISSON_RATIO));
    const double mu = YOUNGS_MODULUS / (2 * (1 + POISSON_RATIO));
    const double offset = 0.5 / std::sqrt(3.0);
    ElementStiffness stiffness{};
    for (int gauss = 0; gauss < CORNERS; ++gauss) {
        std::array<double, 3> point{};
        for (int d = 0; d < 3; ++d)
            point[static_cast<std::size_t>(d)] = corner_side(gauss, d) ? 0.5 + offset : 0.5 - offset;
        std::array<std::array<double, 3>, CORNERS> gradient{};
        for (int corner = 0; corner < CORNERS; ++corner)
            gradient[static_cast<std::size_t>(corner)] = shape_gradient(corner, point);
        for (std::size_t p = 0; p < CORNERS; ++p)
            for (std::size_t q = 0; q < CORNERS; ++q) {
                const std::array<double, 3>&a = gradient[p], &b = gradient[q];
                const double dot = a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
                for (std::size_t r = 0; r < 3; ++r)
                    for (std::size_t c = 0; c < 3; ++c)
                        stiffness[p][q][r][c] +=
                            (lambda * a[r] * b[c] + mu * a[c] * b[r] + (r == c ? mu * dot : 0.0)) / CORNERS;
            }
    }
    return stiffness;
}

/// The brick: nodes 0 .. extent[d] in direction d, those with x = 0 clamped.
struct Brick {
    std::array<std::int32_t, 3> extent;

    bool is_free(const std::array<std::int32_t, 3>& node) const {
        for (std::size_t d = 0; d < 3; ++d)
            if (node[d] < 0 || node[d] > extent[d]) return false;
        return node[0] > 0;
    }
    /// Number of a free node, x fastest.
    std::int32_t number(const std::array<std::int32_t, 3>& node) const {
        return (node[2] * (extent[1] + 1) + node[1]) * extent[0] + node[0] - 1;
    }
};

/// The 3 x 3 block of rows of node `a + step` and columns of node `a`: the sum over the elements that have
/// both as corners.
Block coupling(const Brick& brick, const ElementStiffness& stiffness, const std::array<std::int32_t, 3>& a,
               const std::array<std::int32_t, 3>& step) {
    Block sum{};
    for (int column_corner = 0; column_corner < CORNERS; ++column_corner) {
        int row_corner = 0;
        bool inside = true;
        for (int d = 0; d < 3; ++d) {
            const std::size_t direction = static_cast<std::size_t>(d);
            const int side = corner_side(column_corner, d);
            const std::int32_t element = a[direction] - side;
            const std::int32_t row_side = side + step[direction];
            inside =
                inside && element >= 0 && element < brick.extent[direction] && row_side >= 0 && row_side <= 1;
            row_corner |= (row_side & 1) << d;
        }
        if (!inside) continue;
        const Block& part =
            stiffness[static_cast<std::size_t>(row_corner)][static_cast<std::size_t>(column_corner)];
        for (std::size_t r = 0; r < 3; ++r)
            for (std::size_t c = 0; c < 3; ++c) sum[r][c] += part[r][c];
    }
    return sum;
}

/// Appends the three columns of one node.
void append_columns(SparseMatrix& matrix, const Brick& brick, const ElementStiffness& stiffness,
                    const std::array<std::int32_t, 3>& a) {
    std::array<std::pair<std::int32_t, Block>, 14> below; // the node itself and the 13 neighbours after it
    std::size_t n_below = 0;
    for (std::int32_t code = 13; code < 27; ++code) { // steps (-1..1)^3 in ascending node order from (0,0,0)
        const std::array<std::int32_t, 3> step = {code % 3 - 1, code / 3 % 3 - 1, code / 9 - 1};
        const std::array<std::int32_t, 3> b = {a[0] + step[0], a[1] + step[1], a[2] + step[2]};
        if (brick.is_free(b)) below[n_below++] = {brick.number(b), coupling(brick, stiffness, a, step)};
    }
    for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t k = 0; k < n_below; ++k)
            for (std::size_t r = k == 0 ? c : 0; r < 3; ++r) {
                matrix.row_ind.push_back(3 * below[k].first + static_cast<std::int32_t>(r));
                matrix.values.push_back(below[k].second[r][c]);
            }
        matrix.col_ptr.push_back(matrix.nnz());
    }
}

} // namespace

SparseMatrix elasticity_brick(std::int32_t nx, std::int32_t ny, std::int32_t nz) {
    require_side(std::min({nx, ny, nz}), 1);
    const Brick brick{{nx, ny, nz}};
    const double nodes = 1.0 * nx * (1.0 + ny) * (1.0 + nz);
    SparseMatrix matrix;
    reserve_lower(matrix, 3 * nodes, nodes * (13 * 9 + 6));
    const ElementStiffness stiffness = element_stiffness();
    for (std::int32_t z = 0; z <= nz; ++z)
        for (std::int32_t y = 0; y <= ny; ++y)
            for (std::int32_t x = 1; x <= nx; ++x) append_columns(matrix, brick, stiffness, {x, y, z});
    return matrix;
}

} // namespace vyr::tool
