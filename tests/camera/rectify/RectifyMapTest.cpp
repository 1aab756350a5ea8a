#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include <opencv2/calib3d.hpp>
#include <opencv2/ccalib/omnidir.hpp>

#include "PerPixelRectify.h"
#include "camera/StereoCamera.h"

using namespace korvane::test;
using korvane::kRectifyLonLat;
using korvane::kRectifyPerspective;
using korvane::kRectifyStereographic;

namespace {

// One eye's unified-model calibration and the view to rectify to.
struct Calibration
{
    const char* name;
    cv::Mat K;
    cv::Mat D;
    double xi;
    cv::Mat R;
    cv::Mat P;
    cv::Size size;
};

cv::Mat rodrigues(double x, double y, double z)
{
    cv::Mat r;
    cv::Rodrigues(cv::Vec3d(x, y, z), r);
    return r;
}

cv::Mat matrix3x3(double a, double b, double c, double d, double e, double f)
{
    return (cv::Mat_<double>(3, 3) << a, b, c, d, e, f, 0, 0, 1);
}

cv::Mat row4(double a, double b, double c, double d)
{
    return (cv::Mat_<double>(1, 4) << a, b, c, d);
}

std::vector<Calibration> calibrations()
{
    return {
        {"module eye at 1856", matrix3x3(483.5, 0.1, 463.2, 0, 482.9, 401.7),
         row4(-0.051, 0.012, 4e-4, -3e-4), 1.21, rodrigues(0.01, -0.015, 0.004),
         korvane::perspectiveCameraMatrix({640, 480}, 90.0), {640, 480}},
        {"module eye at 928", matrix3x3(240.6, -0.02, 232.6, 0, 240.4, 199.3),
         row4(-0.049, 0.011, -2e-4, 1e-4), 1.19, rodrigues(-0.008, 0.012, -0.006),
         korvane::perspectiveCameraMatrix({464, 400}, 100.0), {464, 400}},
        {"xi below one, strong distortion", matrix3x3(300, 0, 320, 0, 310, 240),
         row4(0.1, -0.02, 0.001, 0.002), 0.8, rodrigues(0.2, -0.1, 0.05),
         korvane::perspectiveCameraMatrix({320, 240}, 120.0), {320, 240}},
        {"pinhole with skew, general P", matrix3x3(500, 2.0, 300, 0, 520, 220), row4(0, 0, 0, 0), 0.0,
         cv::Mat::eye(3, 3, CV_64F), matrix3x3(250, 0, 300, 0, 260, 210), {600, 420}},
        {"wide eye at 928 by 800", matrix3x3(470, 0, 464, 0, 470, 400), row4(-0.03, 0.004, 0, 0), 1.5,
         rodrigues(0.0, 0.3, 0.0), korvane::perspectiveCameraMatrix({928, 800}, 140.0), {928, 800}},
    };
}

bool sameBytes(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size() || a.type() != b.type() || !a.isContinuous() || !b.isContinuous())
        return false;
    return std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

// Largest difference between two map pairs over the pixels where both are finite;
// `compared` counts them.
double largestDifference(const cv::Mat& a1, const cv::Mat& a2, const cv::Mat& b1, const cv::Mat& b2,
                         int& compared)
{
    double largest = 0.0;
    compared = 0;
    for (int i = 0; i < a1.rows; ++i)
        for (int j = 0; j < a1.cols; ++j) {
            const float values[4] = {a1.at<float>(i, j), a2.at<float>(i, j), b1.at<float>(i, j),
                                     b2.at<float>(i, j)};
            if (!std::isfinite(values[0]) || !std::isfinite(values[1]) || !std::isfinite(values[2]) ||
                !std::isfinite(values[3]))
                continue;
            ++compared;
            largest = std::max({largest, std::abs(double(values[0]) - values[2]),
                                std::abs(double(values[1]) - values[3])});
        }
    return largest;
}

// Simple calibration for values worked out by hand: f = 400, principal
// point (300, 200), no skew, xi = 1.
cv::Mat handK()
{
    return matrix3x3(400, 0, 300, 0, 400, 200);
}

struct MapPair
{
    cv::Mat x;
    cv::Mat y;
};

MapPair lonLatMaps(const cv::Mat& D, const cv::Mat& R, double viewAngle, cv::Size size)
{
    MapPair maps;
    const cv::Mat P = korvane::lonLatCameraMatrix(size, viewAngle, 222.0);
    EXPECT_EQ(initRectifyMap(handK(), D, R, P, 1.0, 0.0, size, kRectifyLonLat, maps.x, maps.y), 1);
    return maps;
}

} // namespace

TEST(MatRowMul, MultipliesOneRowWithTheThreeValues)
{
    const cv::Mat m = (cv::Mat_<double>(2, 3) << 1, 2, 3, 4, 5, 6);
    EXPECT_EQ(MatRowMul(m, 1, 10, 100, 0), 321.0);
    EXPECT_EQ(MatRowMul(m, 1, 10, 100, 1), 654.0);
    EXPECT_EQ(MatRowMul(m, 0.5, -1, 0.25, 1), 2.0 - 5.0 + 1.5);
}

TEST(MatRowMul, ReadsOtherDepthsAsDouble)
{
    const cv::Mat m = (cv::Mat_<float>(1, 3) << 0.5f, 1.5f, -2.0f);
    EXPECT_EQ(MatRowMul(m, 2, 2, 2, 0), 0.0);
    const cv::Mat ints = (cv::Mat_<int>(1, 4) << 1, 2, 3, 1000);
    EXPECT_EQ(MatRowMul(ints, 1, 1, 1, 0), 6.0); // the fourth column plays no part
}

TEST(MatRowMul, GivesNaNForAMissingRowOrTooFewColumns)
{
    const cv::Mat m = (cv::Mat_<double>(2, 3) << 1, 2, 3, 4, 5, 6);
    EXPECT_TRUE(std::isnan(MatRowMul(m, 1, 1, 1, 2)));
    EXPECT_TRUE(std::isnan(MatRowMul(m, 1, 1, 1, -1)));
    EXPECT_TRUE(std::isnan(MatRowMul(cv::Mat::eye(3, 2, CV_64F), 1, 1, 1, 0)));
    EXPECT_TRUE(std::isnan(MatRowMul(cv::Mat(), 1, 1, 1, 0)));
}

TEST(RectifiedCameraMatrices, PerspectiveOf90DegreesAt640HasFocalLength320)
{
    const cv::Mat P = korvane::perspectiveCameraMatrix({640, 480}, 90.0);
    ASSERT_EQ(P.type(), CV_64F);
    EXPECT_DOUBLE_EQ(P.at<double>(0, 0), 320.0);
    EXPECT_DOUBLE_EQ(P.at<double>(1, 1), 320.0);
    EXPECT_EQ(P.at<double>(0, 2), 319.5);
    EXPECT_EQ(P.at<double>(1, 2), 239.5);
    EXPECT_EQ(P.at<double>(0, 1), 0.0);
    EXPECT_EQ(P.at<double>(2, 2), 1.0);
}

TEST(RectifiedCameraMatrices, LonLatAt222DegreesSpansExactlyPi)
{
    const cv::Size size(640, 480);
    const cv::Mat P = korvane::lonLatCameraMatrix(size, 222.0, 222.0);
    EXPECT_EQ(P.at<double>(0, 2), 0.0);
    EXPECT_EQ(P.at<double>(1, 2), 0.0);
    EXPECT_DOUBLE_EQ(P.at<double>(0, 0), 640 / CV_PI);
    EXPECT_DOUBLE_EQ(P.at<double>(1, 1), 480 / CV_PI);
    const cv::Mat iP = P.inv();
    EXPECT_DOUBLE_EQ(MatRowMul(iP, 0, 0, 1, 0), 0.0);
    EXPECT_DOUBLE_EQ(MatRowMul(iP, 640, 480, 1, 0), CV_PI);
    EXPECT_DOUBLE_EQ(MatRowMul(iP, 640, 480, 1, 1), CV_PI);
}

TEST(RectifiedCameraMatrices, LonLatAt180DegreesCoversItsAngleAroundTheAxis)
{
    // The divisor is 222: 180 degrees of setting is 180/222 of pi, centred on
    // longitude and latitude pi/2 (straight ahead).
    const cv::Mat P = korvane::lonLatCameraMatrix({400, 300}, 180.0, 222.0);
    const double angle = 180.0 / 222.0 * CV_PI;
    const cv::Mat iP = P.inv();
    EXPECT_NEAR(MatRowMul(iP, 0, 0, 1, 0), (CV_PI - angle) / 2, 1e-12);
    EXPECT_NEAR(MatRowMul(iP, 400, 300, 1, 0), (CV_PI + angle) / 2, 1e-12);
    EXPECT_NEAR(MatRowMul(iP, 200, 150, 1, 1), CV_PI / 2, 1e-12);
    EXPECT_LT(P.at<double>(0, 2), 0.0);
}

TEST(InitRectifyMap, FreshFloatMapsOfTheRequestedSize)
{
    cv::Mat shared(10, 10, CV_32FC1, cv::Scalar(7));
    cv::Mat map1 = shared;
    cv::Mat map2 = shared;
    const Calibration c = calibrations()[0];
    EXPECT_EQ(initRectifyMap(c.K, c.D, c.R, c.P, c.xi, c.xi, {64, 48}, kRectifyPerspective, map1, map2), 1);
    EXPECT_EQ(map1.size(), cv::Size(64, 48));
    EXPECT_EQ(map2.size(), cv::Size(64, 48));
    EXPECT_EQ(map1.type(), CV_32FC1);
    EXPECT_EQ(map2.type(), CV_32FC1);
    EXPECT_EQ(cv::countNonZero(shared != 7), 0); // the caller's old buffer is untouched
}

TEST(InitRectifyMap, EqualsThePerPixelEvaluationBitForBit)
{
    const int modes[] = {kRectifyStereographic, kRectifyLonLat, kRectifyPerspective, 7};
    for (const Calibration& c : calibrations())
        for (int mode : modes) {
            const cv::Size size(97, 61);
            const cv::Mat P = mode == kRectifyLonLat ? korvane::lonLatCameraMatrix(size, 180.0, 222.0) : c.P;
            const double xi2 = mode == kRectifyStereographic ? 0.7 : c.xi;
            cv::Mat fast1, fast2, slow1, slow2;
            initRectifyMap(c.K, c.D, c.R, P, c.xi, xi2, size, mode, fast1, fast2);
            perPixelRectifyMap(c.K, c.D, c.R, P, c.xi, xi2, size, mode, slow1, slow2);
            EXPECT_TRUE(sameBytes(fast1, slow1)) << c.name << " mode " << mode;
            EXPECT_TRUE(sameBytes(fast2, slow2)) << c.name << " mode " << mode;
        }
}

// A longitude-latitude view whose longitude also moves with the row (and
// latitude with the column) cannot be built from per-column and per-row
// tables; it still gives the per-pixel values.
TEST(InitRectifyMap, LonLatModeWithAMixingViewMatrixEqualsThePerPixelEvaluation)
{
    const cv::Size size(64, 48);
    const cv::Mat mixing = (cv::Mat_<double>(3, 3) << 20.0, 1.5, -30.0, -0.8, 15.0, -20.0, 0, 0, 1);
    for (const Calibration& c : calibrations()) {
        cv::Mat fast1, fast2, slow1, slow2;
        initRectifyMap(c.K, c.D, c.R, mixing, c.xi, 0.0, size, kRectifyLonLat, fast1, fast2);
        perPixelRectifyMap(c.K, c.D, c.R, mixing, c.xi, 0.0, size, kRectifyLonLat, slow1, slow2);
        EXPECT_TRUE(sameBytes(fast1, slow1)) << c.name;
        EXPECT_TRUE(sameBytes(fast2, slow2)) << c.name;
        EXPECT_GT(cv::countNonZero(fast1 == fast1), size.area() / 2) << c.name; // mostly numbers
    }
}

TEST(InitRectifyMap, ReadsSinglePrecisionAndColumnInputsAsTheirValues)
{
    const Calibration c = calibrations()[1];
    cv::Mat K32, D32, R32, P32;
    c.K.convertTo(K32, CV_32F);
    c.D.convertTo(D32, CV_32F);
    c.R.convertTo(R32, CV_32F);
    c.P.convertTo(P32, CV_32F);
    cv::Mat a1, a2, b1, b2;
    initRectifyMap(K32, D32.t(), R32, P32, c.xi, c.xi, {80, 60}, kRectifyPerspective, a1, a2);
    cv::Mat K64, D64, R64, P64;
    K32.convertTo(K64, CV_64F);
    D32.convertTo(D64, CV_64F);
    R32.convertTo(R64, CV_64F);
    P32.convertTo(P64, CV_64F);
    perPixelRectifyMap(K64, D64, R64, P64, c.xi, c.xi, {80, 60}, kRectifyPerspective, b1, b2);
    EXPECT_TRUE(sameBytes(a1, b1));
    EXPECT_TRUE(sameBytes(a2, b2));
}

TEST(InitRectifyMap, OtherModesGiveNoRay)
{
    const Calibration c = calibrations()[0];
    cv::Mat map1, map2;
    EXPECT_EQ(initRectifyMap(c.K, c.D, c.R, c.P, c.xi, c.xi, {16, 8}, 3, map1, map2), 1);
    ASSERT_EQ(map1.size(), cv::Size(16, 8));
    EXPECT_EQ(cv::countNonZero(map1 == map1), 0); // NaN everywhere: the zero ray has no direction
    EXPECT_EQ(cv::countNonZero(map2 == map2), 0);
}

TEST(InitRectifyMap, UnusableMatricesGiveMapsOutsideTheImage)
{
    const Calibration c = calibrations()[0];
    cv::Mat map1, map2;
    EXPECT_EQ(initRectifyMap(cv::Mat::eye(2, 2, CV_64F), c.D, c.R, c.P, c.xi, c.xi, {16, 8},
                             kRectifyPerspective, map1, map2),
              1);
    ASSERT_EQ(map1.size(), cv::Size(16, 8));
    EXPECT_EQ(cv::countNonZero(map1 != -1.0f), 0);
    EXPECT_EQ(cv::countNonZero(map2 != -1.0f), 0);
    EXPECT_EQ(initRectifyMap(c.K, cv::Mat(), c.R, c.P, c.xi, c.xi, {16, 8}, kRectifyPerspective, map1, map2), 1);
    EXPECT_EQ(cv::countNonZero(map1 != -1.0f), 0);
    EXPECT_EQ(initRectifyMap(c.K, c.D, c.R, c.P, c.xi, c.xi, {0, 0}, kRectifyPerspective, map1, map2), 1);
    EXPECT_TRUE(map1.empty());
    EXPECT_TRUE(map2.empty());
}

// The perspective mode against OpenCV contrib's omnidirectional module, an
// independent implementation of the same camera model.
TEST(InitRectifyMap, PerspectiveModeAgreesWithOpenCVOmnidir)
{
    for (const Calibration& c : calibrations()) {
        cv::Mat ours1, ours2, theirs1, theirs2;
        initRectifyMap(c.K, c.D, c.R, c.P, c.xi, c.xi, c.size, kRectifyPerspective, ours1, ours2);
        const cv::Mat xi = (cv::Mat_<double>(1, 1) << c.xi);
        cv::omnidir::initUndistortRectifyMap(c.K, c.D, xi, c.R, c.P, c.size, CV_32FC1, theirs1, theirs2,
                                             cv::omnidir::RECTIFY_PERSPECTIVE);
        int compared = 0;
        EXPECT_LT(largestDifference(ours1, ours2, theirs1, theirs2, compared), 1e-3) << c.name;
        EXPECT_GT(compared, c.size.area() * 9 / 10) << c.name;
    }
}

// Longitude-latitude values worked out by hand. With the view angle at 222
// the matrix is fx' = W/pi, fy' = H/pi, cx' = cy' = 0, so on an 8 x 4 view
// pixel (u, v) has longitude u pi/8 and latitude v pi/4, and the ray is
// Xs = (-cos t, -sin t cos h, sin t sin h). With f = 400, principal point
// (300, 200) and xi = 1, the pixel is (300 + 400 x, 200 + 400 y) with
// x = Xs0 / (Xs2 + 1), y = Xs1 / (Xs2 + 1).
TEST(InitRectifyMap, LonLatModeGivesTheValuesWorkedOutByHand)
{
    const MapPair maps = lonLatMaps(cv::Mat::zeros(1, 4, CV_64F), cv::Mat::eye(3, 3, CV_64F), 222.0, {8, 4});
    // (4, 2): t = h = pi/2, Xs = (0, 0, 1): the principal point.
    EXPECT_NEAR(maps.x.at<float>(2, 4), 300.0, 1e-4);
    EXPECT_NEAR(maps.y.at<float>(2, 4), 200.0, 1e-4);
    // (2, 2): t = pi/4, h = pi/2, Xs = (-sqrt2/2, 0, sqrt2/2), x = -(sqrt2 - 1).
    EXPECT_NEAR(maps.x.at<float>(2, 2), 134.3145751, 1e-4);
    EXPECT_NEAR(maps.y.at<float>(2, 2), 200.0, 1e-4);
    // (4, 1): t = pi/2, h = pi/4, Xs = (0, -sqrt2/2, sqrt2/2), y = -(sqrt2 - 1).
    EXPECT_NEAR(maps.x.at<float>(1, 4), 300.0, 1e-4);
    EXPECT_NEAR(maps.y.at<float>(1, 4), 34.3145751, 1e-4);
    // (6, 3): t = h = 3pi/4, Xs = (sqrt2/2, 1/2, 1/2), x = sqrt2/3, y = 1/3.
    EXPECT_NEAR(maps.x.at<float>(3, 6), 488.5618083, 1e-4);
    EXPECT_NEAR(maps.y.at<float>(3, 6), 333.3333333, 1e-4);
    // (0, v): t = 0, Xs = (-1, 0, 0) on every row: the view's left edge is one pole.
    for (int v = 0; v < 4; ++v) {
        EXPECT_NEAR(maps.x.at<float>(v, 0), -100.0, 1e-4);
        EXPECT_NEAR(maps.y.at<float>(v, 0), 200.0, 1e-4);
    }
}

TEST(InitRectifyMap, LonLatModeDistortsAndRotatesAsWorkedOutByHand)
{
    // (6, 3) as above, x = sqrt2/3, y = 1/3, with k1 = 0.1, k2 = 0.01,
    // p1 = 0.001, p2 = -0.002: r2 = 1/3, radial = 1 + 0.1/3 + 0.01/9,
    // xd = x radial + 2 p1 x y + p2 (r2 + 2 x^2) = 0.4864005017,
    // yd = y radial + p1 (r2 + 2 y^2) + 2 p2 x y = 0.3447418310.
    const MapPair distorted =
        lonLatMaps(row4(0.1, 0.01, 0.001, -0.002), cv::Mat::eye(3, 3, CV_64F), 222.0, {8, 4});
    EXPECT_NEAR(distorted.x.at<float>(3, 6), 494.5602007, 1e-4);
    EXPECT_NEAR(distorted.y.at<float>(3, 6), 337.8967324, 1e-4);

    // R turns the camera frame by 90 degrees about z; the ray of (2, 2),
    // Xs = (-sqrt2/2, 0, sqrt2/2), becomes R^-1 Xs = (0, sqrt2/2, sqrt2/2):
    // y = sqrt2 - 1 below the principal point.
    const cv::Mat turn = (cv::Mat_<double>(3, 3) << 0, -1, 0, 1, 0, 0, 0, 0, 1);
    const MapPair turned = lonLatMaps(cv::Mat::zeros(1, 4, CV_64F), turn, 222.0, {8, 4});
    EXPECT_NEAR(turned.x.at<float>(2, 2), 300.0, 1e-4);
    EXPECT_NEAR(turned.y.at<float>(2, 2), 365.6854249, 1e-4);
}

TEST(InitRectifyMap, LonLatModeAt180DegreesStartsHalfTheMissingAngleIn)
{
    // 180/222 of pi: the left column looks (pi - angle)/2 = 42 pi / 444 in
    // from the pole, at latitude pi/2 on the middle row:
    // x = -cos(42 pi/444) / (sin(42 pi/444) + 1).
    const MapPair maps = lonLatMaps(cv::Mat::zeros(1, 4, CV_64F), cv::Mat::eye(3, 3, CV_64F), 180.0, {8, 4});
    EXPECT_NEAR(maps.x.at<float>(2, 0), 4.1615429, 1e-4);
    EXPECT_NEAR(maps.y.at<float>(2, 0), 200.0, 1e-4);
}

// OpenCV's omnidir RECTIFY_LONGLATI turns a rectified pixel into a ray by
// the same formulas (longitude and latitude from P^-1, Xs as above, then
// R^-1). What differs is the convention for P: OpenCV's documentation and
// samples take P = [W/pi, 0, 0; 0, H/pi, 0; 0, 0, 1], a full pi on both
// axes from the poles, where this kit's view angle is panoramic angle / 222
// * pi, centred on the optical axis with negative cx', cy'. The two agree
// only when the panoramic angle is 222; at the default of 180 the kit's
// view is narrower and the maps differ. The kit also passes xi2 = 0, which
// this mode does not use.
TEST(InitRectifyMap, LonLatModeMeetsOpenCVConventionOnlyAt222Degrees)
{
    const Calibration c = calibrations()[0];
    const cv::Size size(320, 240);
    const cv::Mat openCvP = matrix3x3(size.width / CV_PI, 0, 0, 0, size.height / CV_PI, 0);
    const cv::Mat xi = (cv::Mat_<double>(1, 1) << c.xi);
    cv::Mat theirs1, theirs2;
    cv::omnidir::initUndistortRectifyMap(c.K, c.D, xi, c.R, openCvP, size, CV_32FC1, theirs1, theirs2,
                                         cv::omnidir::RECTIFY_LONGLATI);

    cv::Mat at222x, at222y, at180x, at180y;
    initRectifyMap(c.K, c.D, c.R, korvane::lonLatCameraMatrix(size, 222.0, 222.0), c.xi, 0.0, size,
                   kRectifyLonLat, at222x, at222y);
    initRectifyMap(c.K, c.D, c.R, korvane::lonLatCameraMatrix(size, 180.0, 222.0), c.xi, 0.0, size,
                   kRectifyLonLat, at180x, at180y);
    int compared = 0;
    EXPECT_LT(largestDifference(at222x, at222y, theirs1, theirs2, compared), 1e-3);
    EXPECT_GT(compared, size.area() / 2);
    EXPECT_GT(largestDifference(at180x, at180y, theirs1, theirs2, compared), 10.0);
}

// The kit's largest view, 928 x 800, both modes of each eye at once against
// omnidir (the long-lat view at 222 degrees, where the conventions meet).
TEST(InitRectifyMap, BothModesAt928By800AgreeWithOpenCVOmnidir)
{
    const cv::Size size(928, 800);
    const cv::Mat openCvP = matrix3x3(size.width / CV_PI, 0, 0, 0, size.height / CV_PI, 0);
    for (const Calibration& c : {calibrations()[0], calibrations()[4]}) {
        const cv::Mat xi = (cv::Mat_<double>(1, 1) << c.xi);
        const cv::Mat perspective = korvane::perspectiveCameraMatrix(size, 90.0);
        cv::Mat ours1, ours2, theirs1, theirs2;
        int compared = 0;
        initRectifyMap(c.K, c.D, c.R, perspective, c.xi, c.xi, size, kRectifyPerspective, ours1, ours2);
        cv::omnidir::initUndistortRectifyMap(c.K, c.D, xi, c.R, perspective, size, CV_32FC1, theirs1, theirs2,
                                             cv::omnidir::RECTIFY_PERSPECTIVE);
        EXPECT_LT(largestDifference(ours1, ours2, theirs1, theirs2, compared), 1e-3) << c.name;
        EXPECT_GT(compared, size.area() / 2) << c.name;
        initRectifyMap(c.K, c.D, c.R, korvane::lonLatCameraMatrix(size, 222.0, 222.0), c.xi, 0.0, size,
                       kRectifyLonLat, ours1, ours2);
        cv::omnidir::initUndistortRectifyMap(c.K, c.D, xi, c.R, openCvP, size, CV_32FC1, theirs1, theirs2,
                                             cv::omnidir::RECTIFY_LONGLATI);
        EXPECT_LT(largestDifference(ours1, ours2, theirs1, theirs2, compared), 1e-3) << c.name;
        EXPECT_GT(compared, size.area() / 2) << c.name;
    }
}

// Stereographic mode by hand: P = [100, 0, 50; 0, 100, 40], R = I, K as
// above, xi = 1. Pixel (150, 40) gives x = 1, y = 0, r2 = 1.
TEST(InitRectifyMap, StereographicModeGivesTheValuesWorkedOutByHand)
{
    const cv::Mat P = matrix3x3(100, 0, 50, 0, 100, 40);
    const cv::Mat D = cv::Mat::zeros(1, 4, CV_64F);
    const cv::Mat R = cv::Mat::eye(3, 3, CV_64F);
    cv::Mat map1, map2;
    // xi2 = 1: kappa = (1 + sqrt(1)) / 2 = 1, Xs = (1, 0, 0), x = 1.
    initRectifyMap(handK(), D, R, P, 1.0, 1.0, {160, 80}, kRectifyStereographic, map1, map2);
    EXPECT_NEAR(map1.at<float>(40, 150), 700.0, 1e-4);
    EXPECT_NEAR(map2.at<float>(40, 150), 200.0, 1e-4);
    // The centre: kappa = 2, Xs = (0, 0, 1).
    EXPECT_NEAR(map1.at<float>(40, 50), 300.0, 1e-4);
    EXPECT_NEAR(map2.at<float>(40, 50), 200.0, 1e-4);
    // xi2 = 0: kappa = sqrt(2) / 2, Xs = (sqrt2/2, 0, sqrt2/2), x = sqrt2 - 1.
    initRectifyMap(handK(), D, R, P, 1.0, 0.0, {160, 80}, kRectifyStereographic, map1, map2);
    EXPECT_NEAR(map1.at<float>(40, 150), 465.6854249, 1e-4);
    EXPECT_NEAR(map2.at<float>(40, 150), 200.0, 1e-4);
}
