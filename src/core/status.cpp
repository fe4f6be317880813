#include "core/status.h"

namespace vyr {

namespace {

struct Meaning {
    Status status;
    const char* text;
};

constexpr Meaning MEANINGS[] = {
    {Status::OK, "success"},
    {Status::NULL_MATRIX, "an array of the matrix is null"},
    {Status::EMPTY_MATRIX, "the order, or the number of entries, is below 1"},
    {Status::EMPTY_COLUMN, "a column has no entries"},
    {Status::DUPLICATE, "an entry is stored twice"},
    {Status::FACTOR_FILE, "a factor file cannot be opened, read or written in full"},
    {Status::STRUCTURE, "the column pointers do not ascend from 0, or a row index is out of range"},
    {Status::NOT_SQUARE, "the matrix is not square"},
    {Status::NAN_VALUE, "a value of the matrix is not a number"},
    {Status::HANDLE, "the object is missing or belongs to another pattern"},
    {Status::FACTOR_STORAGE, "the storage of the factor was refused or could not be allocated"},
    {Status::TYPE, "the type of matrix is not served"},
    {Status::UPPER_ENTRY, "an entry lies above the diagonal"},
    {Status::SINGULAR, "the matrix is singular"},
    {Status::MEMORY, "out of memory"},
    {Status::NOT_SPD, "the matrix is not positive definite"},
    {Status::ILL_CONDITIONED, "no pivot could be found inside a supernode"},
    {Status::BUFFER, "there is too little memory for the buffer of a factorization out of core"},
    {Status::NOTHING_TO_FLUSH, "nothing is left to write, or all factor files are in use"},
    {Status::SMALL_PIVOT, "a pivot is not above the smallest acceptable one"},
    {Status::GROWTH, "the pivots spread over more than the allowed ratio"},
    {Status::CANCELLED, "the call was cancelled"},
    {Status::ORDERING, "the ordering failed"},
    {Status::NOT_SYMMETRIC, "both triangles are stored and differ"},
    {Status::INACCURATE, "the backward error stayed above its limit"},
    {Status::BLAS, "the BLAS in this process cannot be used"},
    {Status::PLATFORM, "the operating system is too old"},
    {Status::EMPTY_FILE, "the last factor file stayed empty"},
    {Status::MAPPING, "the mapped factor store could not be created"},
};

} // namespace

const char* status_text(Status status) noexcept {
    for (const Meaning& meaning : MEANINGS)
        if (meaning.status == status) return meaning.text;
    return "an unknown status";
}

} // namespace vyr
