/* A host linked with the import library, with the same C run time as the DLL: hands a FILE* over. */
#include <vyr.h>

#include <stdio.h>
#include <string.h>

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
    static const int col_ptr[] = {0, 2, 4, 5}, row_ind[] = {0, 1, 1, 2, 2};
    double param[VYR_PARAM_COUNT] = {[VYR_PARAM_FLAGS] = 1};
    if (VYR_init_ld(3, 3, col_ptr, row_ind, NULL, VYR_TYPE_SPD, param) != 0) return 2;
    const int as_it_is =
        strstr(dump("wb"), "before\n<TEST>\r\n\t<BASIC>\r\n\t\t<TITLE>load case 7</TITLE>\r\n") &&
        strstr(dump("wb"), "\t\t<ROW>3</ROW>\r\n") && strstr(dump("wb"), "</TEST>\r\nafter\n");
    const int as_text =
        strstr(dump("w"), "before\r\n<TEST>\r\r\n") && strstr(dump("w"), "</TEST>\r\r\nafter\r\n");
    if (!as_it_is || !as_text) puts(dump("wb"));
    return as_it_is && as_text ? 0 : 1;
}
