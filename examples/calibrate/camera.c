#include "camera.h"

static Pixel project(const double *camera, const kmath_matrix3 *R, const kmath_vect3 *t, double X,
                     double Y)
{
    const double z = R->m20 * X + R->m21 * Y + t->z;
    const double x = (R->m00 * X + R->m01 * Y + t->x) / z;
    const double y = (R->m10 * X + R->m11 * Y + t->y) / z;
    const double r2 = x * x + y * y;
    const double distortion = 1 + r2 * (camera[K1] + r2 * camera[K2]);
    return (Pixel){camera[FX] * x * distortion + camera[CX],
                   camera[FY] * y * distortion + camera[CY]};
}

kmath_status computeViewResiduals(const Corners *corners, int32_t view, const double *camera,
                                  const Pose *pose, double *residuals)
{
    kmath_matrix3 R;
    const kmath_status status = kmath_rodParam_buildMat(&pose->rotation, &R);
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int32_t k = 0; k < cornerCount(corners); ++k) {
        const Pixel predicted =
            project(camera, &R, &pose->translation, boardX(corners, k), boardY(corners, k));
        const Pixel measured = corners->views[view].corners[k];
        residuals[2 * k] = predicted.u - measured.u;
        residuals[2 * k + 1] = predicted.v - measured.v;
    }
    return KMATH_OK;
}

kmath_status computeAllResiduals(const Corners *corners, const Calibration *calibration,
                                 double *residuals, double *sumOfSquares)
{
    const int32_t perView = 2 * cornerCount(corners);
    *sumOfSquares = 0;
    for (int32_t i = 0; i < corners->nViews; ++i) {
        const kmath_status status = computeViewResiduals(
            corners, i, calibration->camera, &calibration->poses[i], &residuals[i * perView]);
        if (KMATH_IS_FAILURE(status))
            return status;
    }
    for (int32_t k = 0; k < residualCount(corners); ++k)
        *sumOfSquares += residuals[k] * residuals[k];
    return KMATH_OK;
}

int32_t residualCount(const Corners *corners) { return 2 * cornerCount(corners) * corners->nViews; }
