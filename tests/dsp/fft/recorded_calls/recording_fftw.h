#pragma once

/* Stands in for FFTW: transforms nothing, and tells an observer of each call. */

#ifdef __cplusplus
extern "C" {
#endif

struct FftwCall {
    const char* function; /* without prefix */
    long long size;       /* of a plan, or doubles of an allocation */
    const void* in;       /* samples or lines; a plan to execute or destroy; memory to free */
    const void* out;
    const void* result; /* a plan or memory */
    int sign;
    unsigned flags;
};

struct RecordingFftw {
    void (*observe)(const struct FftwCall* call);
    int plansFail;       /* if not 0, plans are null */
    int allocationsLeft; /* so many, then null; negative: no end */
};

/* Under its own name to be found by. */
extern struct RecordingFftw recordingFftw;

#ifdef __cplusplus
}
#endif
