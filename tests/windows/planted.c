/* A DLL with everything that the check of the DLL must find. */
__declspec(dllimport) int VYR_clear_ld(void*);

__declspec(dllexport) int VYR_planted(double* p) {
    __asm__ volatile(".byte 0xc5, 0xfd, 0x29, 0x00" ::"a"(p));             /* vmovapd %ymm0, (%rax) */
    __asm__ volatile(".byte 0x62, 0xf1, 0xfd, 0x48, 0x29, 0x00" ::"a"(p)); /* vmovapd %zmm0, (%rax) */
    return VYR_clear_ld(0);
}
