/*
 * Each view of a plane gives a homography H = K·(r1 r2 t), up to a factor. That r1 and r2 are
 * orthogonal and of equal length makes two linear equations in B = K⁻ᵀ·K⁻¹, from which K follows,
 * and with it the pose. See Zhang, A flexible new technique for camera calibration, IEEE Trans.
 * PAMI 22 (2000); for the homographies, Hartley & Zisserman, Multiple View Geometry, §4.
 *
 * Lengths in the image are in units of its width, from its middle, which keeps all numbers near 1.
 */
#include "closed_form.h"

#include "examples/common/status.h"

#include <math.h>
#include <stdio.h>

enum { HOMOGRAPHY = 9, CONIC = 5 };

/* Singular values below this part of the largest are rounding noise. */
static const double negligible = 1e-9;

/* A point of a plane, on the board or in the image. */
typedef struct Point {
    double x;
    double y;
} Point;

/* Moves the origin to centre, then magnifies by scale. */
typedef struct Similarity {
    Point centre;
    double scale;
} Similarity;

static Point boardPoint(const Corners *corners, int32_t view, int32_t k)
{
    (void)view;
    return (Point){boardX(corners, k), boardY(corners, k)};
}

static Point imagePoint(const Corners *corners, int32_t view, int32_t k)
{
    const Pixel pixel = corners->views[view].corners[k];
    return (Point){(pixel.u - corners->width / 2.0) / corners->width,
                   (pixel.v - corners->height / 2.0) / corners->width};
}

/* Brings the centre of gravity to the origin and the mean distance from it to √2. */
static Similarity normalise(const Corners *corners, int32_t view,
                            Point (*point)(const Corners *, int32_t, int32_t))
{
    const int32_t count = cornerCount(corners);
    Point centre = {0, 0};
    double distance = 0;
    for (int32_t k = 0; k < count; ++k) {
        centre.x += point(corners, view, k).x / count;
        centre.y += point(corners, view, k).y / count;
    }
    for (int32_t k = 0; k < count; ++k)
        distance +=
            hypot(point(corners, view, k).x - centre.x, point(corners, view, k).y - centre.y) /
            count;
    return (Similarity){centre, sqrt(2.0) / distance};
}

static Point apply(const Similarity *s, Point p)
{
    return (Point){s->scale * (p.x - s->centre.x), s->scale * (p.y - s->centre.y)};
}

/*
 * The unit vector x that makes |A·x| smallest: the right singular vector of the smallest singular
 * value. KMATH_ERR_SINGULAR where another one would do as well.
 */
static kmath_status solveHomogeneous(const kmath_nmmatrix *A, double *x)
{
    const int32_t n = A->nCols;
    kmath_nmmatrix U, W, V;
    kmath_nmmatrix_construct(&U);
    kmath_nmmatrix_construct(&W);
    kmath_nmmatrix_construct(&V);
    kmath_status status = kmath_nmmatrix_decompose(A, &U, &W, &V);
    if (!KMATH_IS_FAILURE(status)) {
        for (int32_t i = 0; i < n; ++i)
            x[i] = V.rows[i][n - 1];
        if (!(W.rows[n - 2][n - 2] > negligible * W.rows[0][0]))
            status = KMATH_ERR_SINGULAR;
    }
    kmath_nmmatrix_destruct(&V);
    kmath_nmmatrix_destruct(&W);
    kmath_nmmatrix_destruct(&U);
    return status;
}

/* Two rows of A, both zero in A·h for the elements h of the homography that takes b to i. */
static void writeCorrespondence(kmath_nmmatrix *A, int32_t k, Point b, Point i)
{
    const double rows[2][HOMOGRAPHY] = {
        {b.x, b.y, 1, 0, 0, 0, -i.x * b.x, -i.x * b.y, -i.x},
        {0, 0, 0, b.x, b.y, 1, -i.y * b.x, -i.y * b.y, -i.y},
    };
    for (int32_t j = 0; j < HOMOGRAPHY; ++j) {
        A->rows[2 * k][j] = rows[0][j];
        A->rows[2 * k + 1][j] = rows[1][j];
    }
}

/* H takes board points to image points; scaled to H(2, 2) = 1, the depth of the board's origin. */
static kmath_status findHomography(const Corners *corners, int32_t view, kmath_matrix3 *H)
{
    const Similarity board = normalise(corners, view, boardPoint);
    const Similarity image = normalise(corners, view, imagePoint);
    double h[HOMOGRAPHY];
    kmath_nmmatrix A;
    kmath_status status =
        kmath_nmmatrix_constructRowsCols(&A, 2 * cornerCount(corners), HOMOGRAPHY);
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int32_t k = 0; k < cornerCount(corners); ++k)
        writeCorrespondence(&A, k, apply(&board, boardPoint(corners, view, k)),
                            apply(&image, imagePoint(corners, view, k)));
    status = solveHomogeneous(&A, h);
    kmath_nmmatrix_destruct(&A);
    if (KMATH_IS_FAILURE(status))
        return status;

    kmath_matrix3 toBoard, fromImage;
    const double s = board.scale, t = 1 / image.scale;
    kmath_matrix3_init(H, h[0], h[1], h[2], h[3], h[4], h[5], h[6], h[7], h[8]);
    kmath_matrix3_init(&toBoard, s, 0, -s * board.centre.x, 0, s, -s * board.centre.y, 0, 0, 1);
    kmath_matrix3_init(&fromImage, t, 0, image.centre.x, 0, t, image.centre.y, 0, 0, 1);
    kmath_matrix3_initMultiply(H, H, &toBoard);
    kmath_matrix3_initMultiply(H, &fromImage, H);
    return kmath_matrix3_scale(H, 1 / H->m22);
}

/* The coefficients of aᵀ·B·c in (B00, B11, B02, B12, B22); B01 is 0 as the axes are orthogonal. */
static void writeConic(double *row, const kmath_vect3 *a, const kmath_vect3 *c, double sign)
{
    row[0] += sign * a->x * c->x;
    row[1] += sign * a->y * c->y;
    row[2] += sign * (a->x * c->z + a->z * c->x);
    row[3] += sign * (a->y * c->z + a->z * c->y);
    row[4] += sign * a->z * c->z;
}

static kmath_vect3 column0(const kmath_matrix3 *H) { return (kmath_vect3){H->m00, H->m10, H->m20}; }
static kmath_vect3 column1(const kmath_matrix3 *H) { return (kmath_vect3){H->m01, H->m11, H->m21}; }
static kmath_vect3 column2(const kmath_matrix3 *H) { return (kmath_vect3){H->m02, H->m12, H->m22}; }

/* fx, fy, cx, cy in units of the image width; KMATH_ERR_SINGULAR where the views do not tell. */
static kmath_status findIntrinsics(const kmath_matrix3 *H, int32_t count, double *camera)
{
    double b[CONIC];
    kmath_nmmatrix A;
    kmath_status status = kmath_nmmatrix_constructRowsCols(&A, 2 * count, CONIC);
    if (KMATH_IS_FAILURE(status))
        return status;
    for (int32_t i = 0; i < count; ++i) {
        const kmath_vect3 h0 = column0(&H[i]), h1 = column1(&H[i]);
        writeConic(A.rows[2 * i], &h0, &h1, 1); /* h0ᵀ·B·h1 = 0 */
        writeConic(A.rows[2 * i + 1], &h0, &h0, 1);
        writeConic(A.rows[2 * i + 1], &h1, &h1, -1); /* h0ᵀ·B·h0 = h1ᵀ·B·h1 */
    }
    status = solveHomogeneous(&A, b);
    kmath_nmmatrix_destruct(&A);
    if (KMATH_IS_FAILURE(status))
        return status;

    const double factor = b[4] - b[2] * b[2] / b[0] - b[3] * b[3] / b[1];
    if (!(factor / b[0] > 0 && factor / b[1] > 0)) /* B belongs to no camera */
        return KMATH_ERR_SINGULAR;
    camera[FX] = sqrt(factor / b[0]);
    camera[FY] = sqrt(factor / b[1]);
    camera[CX] = -b[2] / b[0];
    camera[CY] = -b[3] / b[1];
    camera[K1] = 0;
    camera[K2] = 0;
    return KMATH_OK;
}

/* K⁻¹·h·scale */
static kmath_vect3 ray(const double *camera, kmath_vect3 h, double scale)
{
    return (kmath_vect3){scale * (h.x - camera[CX] * h.z) / camera[FX],
                         scale * (h.y - camera[CY] * h.z) / camera[FY], scale * h.z};
}

static double length(kmath_vect3 v) { return sqrt(v.x * v.x + v.y * v.y + v.z * v.z); }

/* From H = K·(r0 r1 t)·factor; measured axes are nearly orthogonal only. */
static kmath_status findPose(const kmath_matrix3 *H, const double *camera, Pose *pose)
{
    const double scale =
        2 / (length(ray(camera, column0(H), 1)) + length(ray(camera, column1(H), 1)));
    const kmath_vect3 r0 = ray(camera, column0(H), scale);
    const kmath_vect3 r1 = ray(camera, column1(H), scale);
    kmath_vect3 r2;
    kmath_matrix3 M, R;
    pose->translation = ray(camera, column2(H), scale);
    kmath_vect3_cross(&r0, &r1, &r2);
    kmath_matrix3_initFromAxes(&M, &r0, &r1, &r2);
    const kmath_status status = kmath_rodParam_findClosestRotation(&M, &R);
    if (KMATH_IS_FAILURE(status))
        return status;
    return kmath_rodParam_getParam(&R, &pose->rotation);
}

static void toPixels(const Corners *corners, double *camera)
{
    camera[FX] *= corners->width;
    camera[FY] *= corners->width;
    camera[CX] = camera[CX] * corners->width + corners->width / 2.0;
    camera[CY] = camera[CY] * corners->width + corners->height / 2.0;
}

static bool tell(const char *view, const char *what, kmath_status status)
{
    fprintf(stderr, "%s%s%s: %s\n", view == NULL ? "" : "view ", view == NULL ? "" : view, what,
            statusName(status));
    return false;
}

bool findClosedForm(const Corners *corners, Calibration *calibration)
{
    kmath_matrix3 H[MAX_VIEWS];
    for (int32_t i = 0; i < corners->nViews; ++i) {
        const kmath_status status = findHomography(corners, i, &H[i]);
        if (KMATH_IS_FAILURE(status))
            return tell(corners->views[i].name, ": the corners give no homography", status);
    }
    kmath_status status = findIntrinsics(H, corners->nViews, calibration->camera);
    if (KMATH_IS_FAILURE(status))
        return tell(NULL,
                    status == KMATH_ERR_SINGULAR
                        ? "the views do not determine the camera; turn the board more between them"
                        : "no camera can be found",
                    status);
    for (int32_t i = 0; i < corners->nViews; ++i) {
        status = findPose(&H[i], calibration->camera, &calibration->poses[i]);
        if (KMATH_IS_FAILURE(status))
            return tell(corners->views[i].name, ": no pose fits the homography", status);
    }
    toPixels(corners, calibration->camera);
    return true;
}
