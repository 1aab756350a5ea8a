#include "camera/calibration/StereoCalibrator.h"

#include <algorithm>
#include <cmath>

#include <opencv2/calib3d.hpp>
#include <opencv2/ccalib/omnidir.hpp>

namespace korvane::calibration {

namespace {

const cv::TermCriteria kCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 300, 1e-10);

cv::Mat objectMat(const std::vector<cv::Point3f>& points)
{
    cv::Mat m(1, static_cast<int>(points.size()), CV_64FC3);
    for (size_t i = 0; i < points.size(); ++i)
        m.at<cv::Vec3d>(0, static_cast<int>(i)) = cv::Vec3d(points[i].x, points[i].y, points[i].z);
    return m;
}

cv::Mat imageMat(const std::vector<cv::Point2f>& points)
{
    cv::Mat m(1, static_cast<int>(points.size()), CV_64FC2);
    for (size_t i = 0; i < points.size(); ++i)
        m.at<cv::Vec2d>(0, static_cast<int>(i)) = cv::Vec2d(points[i].x, points[i].y);
    return m;
}

StereoCalibrator::Eye eyeOf(const cv::Mat& k, const cv::Mat& d, const cv::Mat& xi, double rms)
{
    StereoCalibrator::Eye eye;
    eye.intrinsics = cv::Matx33d(k);
    for (int i = 0; i < 4; ++i)
        eye.distortion[i] = d.at<double>(i);
    eye.xi = xi.at<double>(0);
    eye.rms = rms;
    return eye;
}

// Sum of squared reprojection errors of one eye in one view.
double squaredError(const cv::Mat& object, const cv::Mat& image, const cv::Vec3d& rvec, const cv::Vec3d& tvec,
                    const StereoCalibrator::Eye& eye)
{
    cv::Mat projected;
    cv::omnidir::projectPoints(object, projected, rvec, tvec, cv::Mat(eye.intrinsics), eye.xi,
                               cv::Mat(eye.distortion));
    const double n = cv::norm(projected.reshape(2, 1), image, cv::NORM_L2);
    return n * n;
}

// Each list's points repeated in turn up to `count`.
std::vector<cv::Mat> padded(const std::vector<cv::Mat>& lists, size_t count)
{
    std::vector<cv::Mat> out;
    for (const cv::Mat& list : lists) {
        cv::Mat p(1, static_cast<int>(count), list.type());
        for (int i = 0; i < p.cols; ++i)
            list.col(i % list.cols).copyTo(p.col(i));
        out.push_back(p);
    }
    return out;
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

} // namespace

StereoCalibrator::StereoCalibrator(const TargetDetector& detector) : m_detector(detector)
{
}

StereoCalibrator::Result StereoCalibrator::calibrateOnce(const std::vector<TargetDetector::PairCorners>& views,
                                                         const std::vector<int>& use, cv::Size eyeSize) const
{
    Result result;
    result.eyeSize = eyeSize;
    result.viewErrors.assign(views.size(), -1.0);
    std::vector<cv::Mat> objects, lefts, rights;
    for (int v : use) {
        objects.push_back(objectMat(m_detector.objectPoints(views[static_cast<size_t>(v)].ids)));
        lefts.push_back(imageMat(views[static_cast<size_t>(v)].left));
        rights.push_back(imageMat(views[static_cast<size_t>(v)].right));
    }
    cv::Mat k1, d1, xi1, k2, d2, xi2, rvec, tvec, idx;
    std::vector<cv::Mat> rvecs, tvecs;
    try {
        std::vector<cv::Mat> eyeRvecs, eyeTvecs;
        const double leftRms =
            cv::omnidir::calibrate(objects, lefts, eyeSize, k1, xi1, d1, eyeRvecs, eyeTvecs, 0, kCriteria);
        eyeRvecs.clear();
        eyeTvecs.clear();
        const double rightRms =
            cv::omnidir::calibrate(objects, rights, eyeSize, k2, xi2, d2, eyeRvecs, eyeTvecs, 0, kCriteria);
        result.left = eyeOf(k1, d1, xi1, leftRms);
        result.right = eyeOf(k2, d2, xi2, rightRms);
        // The pair calibration takes the same number of points in every
        // view; each view's points are repeated up to the largest count.
        size_t most = 0;
        for (const cv::Mat& o : objects)
            most = std::max(most, o.total());
        std::vector<cv::Mat> o = padded(objects, most), l = padded(lefts, most), r = padded(rights, most);
        cv::omnidir::stereoCalibrate(o, l, r, eyeSize, eyeSize, k1, xi1, d1, k2, xi2, d2, rvec, tvec, rvecs, tvecs,
                                     0, kCriteria, idx);
    } catch (const cv::Exception& e) {
        result.error = std::string("the calibration failed: ") + e.what();
        return result;
    }
    result.left = eyeOf(k1, d1, xi1, result.left.rms);
    result.right = eyeOf(k2, d2, xi2, result.right.rms);
    result.rotation = cv::Vec3d(rvec.reshape(1, 3));
    result.translation = cv::Vec3d(tvec.reshape(1, 3));
    cv::Matx33d rotation;
    cv::Rodrigues(result.rotation, rotation);
    std::vector<bool> used(use.size(), false);
    double sumAll = 0.0, countAll = 0.0;
    for (int i = 0; i < static_cast<int>(idx.total()); ++i) {
        const int u = idx.at<int>(i);
        used[static_cast<size_t>(u)] = true;
        const cv::Vec3d rl(rvecs[static_cast<size_t>(i)].reshape(1, 3)), tl(tvecs[static_cast<size_t>(i)].reshape(1, 3));
        cv::Matx33d leftRotation;
        cv::Rodrigues(rl, leftRotation);
        cv::Vec3d rr;
        cv::Rodrigues(cv::Mat(rotation * leftRotation), rr);
        const cv::Vec3d tr = rotation * tl + result.translation;
        const double sum = squaredError(objects[static_cast<size_t>(u)], lefts[static_cast<size_t>(u)], rl, tl, result.left) +
                           squaredError(objects[static_cast<size_t>(u)], rights[static_cast<size_t>(u)], rr, tr, result.right);
        const double count = 2.0 * objects[static_cast<size_t>(u)].total();
        result.viewErrors[static_cast<size_t>(use[static_cast<size_t>(u)])] = std::sqrt(sum / count);
        sumAll += sum;
        countAll += count;
    }
    result.pairRms = countAll > 0.0 ? std::sqrt(sumAll / countAll) : 0.0;
    for (size_t i = 0; i < use.size(); ++i)
        if (!used[i])
            result.rejected.push_back(use[i]);
    result.ok = true;
    return result;
}

StereoCalibrator::Result StereoCalibrator::calibrate(const std::vector<TargetDetector::PairCorners>& views,
                                                     cv::Size eyeSize) const
{
    if (eyeSize.width <= 0 || eyeSize.height <= 0) {
        Result failed;
        failed.error = "no eye image size";
        return failed;
    }
    std::vector<int> use;
    for (int v = 0; v < static_cast<int>(views.size()); ++v)
        use.push_back(v);
    std::vector<int> dropped;
    for (int round = 0; round < 3; ++round) {
        if (static_cast<int>(use.size()) < kMinimumViews) {
            Result failed;
            failed.error = "too few views: " + std::to_string(use.size()) + " (at least " +
                           std::to_string(kMinimumViews) + " needed)";
            failed.dropped = dropped;
            return failed;
        }
        Result result = calibrateOnce(views, use, eyeSize);
        result.dropped = dropped;
        if (!result.ok)
            return result;
        std::vector<double> errors;
        for (double e : result.viewErrors)
            if (e >= 0.0)
                errors.push_back(e);
        if (static_cast<int>(errors.size()) < kMinimumViews) {
            result.ok = false;
            result.error = "the calibration could use only " + std::to_string(errors.size()) + " views";
            return result;
        }
        const double limit = std::max(kDropFloor, kDropFactor * median(errors));
        std::vector<int> keep;
        for (int v : use)
            if (result.viewErrors[static_cast<size_t>(v)] > limit)
                dropped.push_back(v);
            else
                keep.push_back(v);
        if (keep.size() == use.size())
            return result;
        use = keep;
    }
    Result result = calibrateOnce(views, use, eyeSize);
    result.dropped = dropped;
    return result;
}

} // namespace korvane::calibration
