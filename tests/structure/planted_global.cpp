// What the check of writable globals must find, one of each kind.
namespace {
int file_local = 3;
thread_local int per_thread;
struct Guarded {
    int value;
    explicit Guarded(int v) : value(v) {}
};
} // namespace

const int read_only[] = {1, 2, 3};
const char* const relocated_read_only[] = {"a", "b"};

int plant(int start) {
    static Guarded guarded(start);
    static int counter;
    return ++counter + ++per_thread + ++file_local + guarded.value++ + read_only[start % 3] +
           relocated_read_only[start % 2][0];
}
