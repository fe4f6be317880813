/* A host linked with the import library, with the same C run time as the DLL: hands a FILE* over. */
#include <vyr.h>

#include <stdio.h>
#include <string.h>

static const int col_ptr[] = {0, 2, 4, 5}, row_ind[] = {0, 1, 1, 2, 2};
static const double values[] = {4.0, 1.0, 5.0, 2.0, 6.0};

/* The report body as the file holds it, written in text or binary mode. */
static const char* dump(const char* mode) {
    static char text[8192];
    size_t length;
    FILE* file = fopen("host_dump.txt", mode);
    if (file == NULL) return "";
    fputs("before\n", file);
    mf_dump_ld(file, "load case 7");
    fputs("after\n", file);
    fclose(file);
    file = fopen("host_dump.txt", "rb");
    length = fread(text, 1, sizeof text - 1, file);
    text[length] = '\0';
    fclose(file);
    remove("host_dump.txt");
    return text;
}

int main(void) {
    double param[VYR_PARAM_COUNT] = {0.0};
    VYR_handle h;
    if (VYR_init_ld(3, 3, col_ptr, row_ind, values, VYR_TYPE_SPD, param) != 0) return 2;
    h = VYR_symbol_ld(NULL, 3, col_ptr, row_ind);
    param[VYR_PARAM_FLAGS] = 1; /* messages and report body, which the analysis has switched off */
    if (h == NULL || VYR_init_ld(3, 3, col_ptr, row_ind, values, VYR_TYPE_SPD, param) != 0) return 2;
    if (VYR_numeric_ld(NULL, 3, col_ptr, row_ind, values, h) != 0) return 2;
    const int as_it_is =
        strstr(dump("wb"), "before\n<TEST>\r\n\t<BASIC>\r\n\t\t<TITLE>load case 7</TITLE>\r\n") &&
        strstr(dump("wb"), "\t\t<ROW>3</ROW>\r\n") && strstr(dump("wb"), "</TEST>\r\nafter\n");
    const int as_text =
        strstr(dump("w"), "before\r\n<TEST>\r\r\n") && strstr(dump("w"), "</TEST>\r\r\nafter\r\n");
    VYR_clear_ld(h);
    if (!as_it_is || !as_text) puts(dump("wb"));
    return as_it_is && as_text ? 0 : 1;
}
