// The instruction sets a loop may choose at run time. A loop written with AVX2's own
// instructions (which the loader's clones of VECTOR_CLONES cannot take: their default clone
// would hold them too) goes in a function of its own marked AVX2_TARGET, and its caller
// asks CpuAvx2() before calling it.
#pragma once

#if defined(__GNUC__) && defined(__x86_64__)
#define VISTEL_AVX2_PATHS 1
// AVX2 alone, without FMA: a multiply and an add stay two roundings, as they are in the
// portable code, so that both give the same doubles.
#define AVX2_TARGET __attribute__((target("avx2")))

// 1 while AVX2 paths may run: the processor has AVX2 and nothing turned them off.
inline int &CpuAvx2Flag()
{
    static int flag = __builtin_cpu_supports("avx2") ? 1 : 0;
    return flag;
}

inline int CpuAvx2()
{
    return CpuAvx2Flag();
}

// Turns the AVX2 paths off (allowed 0) or back on where the processor has it, so that a test
// can hold them against the portable ones. Not for use while other threads compute.
inline void CpuAllowAvx2(int allowed)
{
    CpuAvx2Flag() = allowed && __builtin_cpu_supports("avx2") ? 1 : 0;
}
#else
inline int CpuAvx2()
{
    return 0;
}

inline void CpuAllowAvx2(int) {}
#endif
