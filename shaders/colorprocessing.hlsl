// Colour functions shared by the point-cloud and post-processing shaders: colour maps over a
// scalar in 0..1, colouring by normal and by distance, plane distances, brightness and contrast.
// The map numbers of `colorize` are those of Render::ColorMap on the host; keep both in step.
// Every map returns alpha 1 and, except `gray`, saturates its input first.

#ifndef LUMARO_COLORPROCESSING_HLSL
#define LUMARO_COLORPROCESSING_HLSL

static const float pi = 3.14159265;

static const float4 passfailcolors[2] = {
    float4(0.0, 0.5, 0.0, 1.0), // pass: dark green
    float4(1.0, 0.0, 0.0, 1.0)  // fail: red
};

// Moreland's diverging cool-to-warm map in 32 steps. The last entry repeats the one before it so
// that x = 1 still reads a valid pair of neighbours.
static const float4 coolwarmcolors[34] = {
    float4(0.2314, 0.2980, 0.7529, 1.0),
    float4(0.2667, 0.3529, 0.8000, 1.0),
    float4(0.3020, 0.4078, 0.8431, 1.0),
    float4(0.3412, 0.4588, 0.8824, 1.0),
    float4(0.3843, 0.5098, 0.9176, 1.0),
    float4(0.4235, 0.5569, 0.9451, 1.0),
    float4(0.4667, 0.6039, 0.9686, 1.0),
    float4(0.5098, 0.6471, 0.9843, 1.0),
    float4(0.5529, 0.6902, 0.9961, 1.0),
    float4(0.5961, 0.7255, 1.0000, 1.0),
    float4(0.6392, 0.7608, 1.0000, 1.0),
    float4(0.6824, 0.7882, 0.9922, 1.0),
    float4(0.7216, 0.8157, 0.9765, 1.0),
    float4(0.7608, 0.8353, 0.9569, 1.0),
    float4(0.8000, 0.8510, 0.9333, 1.0),
    float4(0.8353, 0.8588, 0.9020, 1.0),
    float4(0.8667, 0.8667, 0.8667, 1.0),
    float4(0.8980, 0.8471, 0.8196, 1.0),
    float4(0.9255, 0.8275, 0.7725, 1.0),
    float4(0.9451, 0.8000, 0.7255, 1.0),
    float4(0.9608, 0.7686, 0.6784, 1.0),
    float4(0.9686, 0.7333, 0.6275, 1.0),
    float4(0.9686, 0.6941, 0.5804, 1.0),
    float4(0.9686, 0.6510, 0.5294, 1.0),
    float4(0.9569, 0.6039, 0.4824, 1.0),
    float4(0.9451, 0.5529, 0.4353, 1.0),
    float4(0.9255, 0.4980, 0.3882, 1.0),
    float4(0.8980, 0.4392, 0.3451, 1.0),
    float4(0.8706, 0.3765, 0.3020, 1.0),
    float4(0.8353, 0.3137, 0.2588, 1.0),
    float4(0.7961, 0.2431, 0.2196, 1.0),
    float4(0.7529, 0.1569, 0.1882, 1.0),
    float4(0.7059, 0.0000, 0.1490, 1.0),
    float4(0.7059, 0.0000, 0.1490, 1.0)
};

// The piecewise-linear maps below test their conditions one after another: later assignments
// overwrite earlier ones and `+=` adds to them.

float4 jet(float x)
{
    x = saturate(x);
    float r = 0.0;
    float g = 0.0;
    float b = 0.0;
    if (x >= 3.0 / 8.0 && x < 5.0 / 8.0)
        r = 4.0 * x - 1.5;
    if (x >= 5.0 / 8.0 && x < 7.0 / 8.0)
        r = 1.0;
    if (x >= 7.0 / 8.0)
        r += -4.0 * x + 4.5;
    if (x >= 1.0 / 8.0 && x < 3.0 / 8.0)
        g = 4.0 * x - 0.5;
    if (x >= 3.0 / 8.0 && x < 5.0 / 8.0)
        g = 1.0;
    if (x >= 5.0 / 8.0 && x < 7.0 / 8.0)
        g += -4.0 * x + 3.5;
    if (x < 1.0 / 8.0)
        b = 4.0 * x + 0.5;
    if (x >= 1.0 / 8.0 && x < 3.0 / 8.0)
        b = 1.0;
    if (x >= 3.0 / 8.0 && x < 5.0 / 8.0)
        b += -4.0 * x + 2.5;
    return float4(r, g, b, 1.0);
}

float4 blue_green_red(float x)
{
    x = saturate(x);
    float r = 0.0;
    float g = 0.0;
    float b = 0.0;
    if (x >= 0.5) {
        r = 2.0 * x - 1.0;
        g = 2.0 - 2.0 * x;
    } else {
        b = 1.0 - 2.0 * x;
        g = 2.0 * x;
    }
    return float4(r, g, b, 1.0);
}

// Not clamped, unlike every other map.
float4 gray(float x)
{
    return float4(x, x, x, 1.0);
}

float4 bone(float x)
{
    x = saturate(x);
    float r;
    if (x < 3.0 / 4.0)
        r = 7.0 / 8.0 * x;
    else
        r = 11.0 / 8.0 * x - 3.0 / 8.0;
    float g;
    if (x < 3.0 / 8.0)
        g = 7.0 / 8.0 * x;
    else if (x < 3.0 / 4.0)
        g = 29.0 / 24.0 * x - 1.0 / 8.0;
    else
        g = 7.0 / 8.0 * x + 1.0 / 8.0;
    float b;
    if (x < 3.0 / 8.0)
        b = 29.0 / 24.0 * x;
    else
        b = 7.0 / 8.0 * x + 1.0 / 8.0;
    return float4(r, g, b, 1.0);
}

float4 hot(float x)
{
    x = saturate(x);
    float r = x <= 1.0 / 3.0 ? 3.0 * x : 1.0;
    float g = 0.0;
    if (x > 1.0 / 3.0 && x < 2.0 / 3.0)
        g = 3.0 * x - 1.0;
    else if (x >= 2.0 / 3.0)
        g = 1.0;
    float b = x >= 2.0 / 3.0 ? 3.0 * x - 2.0 : 0.0;
    return float4(r, g, b, 1.0);
}

float4 thermo(float x)
{
    x = saturate(x);
    float r = 0.0;
    if (x <= 1.0 / 7.0)
        r = 7.0 * x;
    else if (x <= 2.0 / 7.0)
        r = -7.0 * x + 2.0;
    else if (x > 4.0 / 7.0 && x <= 5.0 / 7.0)
        r = 7.0 * x - 4.0;
    else if (x > 5.0 / 7.0)
        r = 1.0;
    float g = 0.0;
    if (x >= 2.0 / 7.0 && x <= 3.0 / 7.0)
        g = 7.0 * x - 2.0;
    else if (x > 3.0 / 7.0 && x <= 5.0 / 7.0)
        g = 1.0;
    else if (x > 5.0 / 7.0 && x <= 6.0 / 7.0)
        g = -7.0 * x + 6.0;
    else if (x > 6.0 / 7.0)
        g = 7.0 * x - 6.0;
    float b = 0.0;
    if (x <= 1.0 / 7.0)
        b = 7.0 * x;
    else if (x <= 3.0 / 7.0)
        b = 1.0;
    else if (x <= 4.0 / 7.0)
        b = -7.0 * x + 4.0;
    else if (x > 6.0 / 7.0)
        b = 7.0 * x - 6.0;
    return float4(r, g, b, 1.0);
}

float4 hsv(float x)
{
    x = saturate(x);
    float r = 0.0;
    if (x <= 1.0 / 5.0)
        r = 1.0;
    else if (x <= 2.0 / 5.0)
        r = -5.0 * x + 2.0;
    else if (x > 4.0 / 5.0)
        r = 5.0 * x - 4.0;
    float g = 0.0;
    if (x <= 1.0 / 5.0)
        g = 5.0 * x;
    else if (x <= 3.0 / 5.0)
        g = 1.0;
    else if (x <= 4.0 / 5.0)
        g = -5.0 * x + 4.0;
    float b = 0.0;
    if (x > 2.0 / 5.0 && x <= 3.0 / 5.0)
        b = 5.0 * x - 2.0;
    else if (x > 3.0 / 5.0 && x <= 4.0 / 5.0)
        b = 1.0;
    else if (x > 4.0 / 5.0)
        b = -5.0 * x + 5.0;
    return float4(r, g, b, 1.0);
}

// Low values red, the middle white, high values blue.
float4 redwhiteblue(float x)
{
    x = saturate(x);
    if (x >= 0.5) {
        float rg = 2.0 - 2.0 * x;
        return float4(rg, rg, 1.0, 1.0);
    }
    float gb = 2.0 * x;
    return float4(1.0, gb, gb, 1.0);
}

// The five colours of the level-of-accuracy classes LOA 50 to LOA 10, best first. A threshold
// itself belongs to the next (worse) class.
float4 levelOfAccuracyClass(float x, float4 thresholds)
{
    if (x < thresholds.x)
        return float4(0.0, 0.5, 0.0, 1.0); // dark green
    if (x < thresholds.y)
        return float4(0.0, 1.0, 0.0, 1.0); // green
    if (x < thresholds.z)
        return float4(1.0, 1.0, 0.0, 1.0); // yellow
    if (x < thresholds.w)
        return float4(1.0, 0.5, 0.0, 1.0); // orange
    return float4(1.0, 0.0, 0.0, 1.0); // red
}

// USIBD level of accuracy with 0..150 mm mapped to 0..1.
float4 levelofaccuracy(float x)
{
    return levelOfAccuracyClass(saturate(x), float4(1.0, 5.0, 15.0, 50.0) / 150.0);
}

// The same classes in sixteenths of an inch, 0..6 inches mapped to 0..1.
float4 levelofaccuracy_imperial(float x)
{
    return levelOfAccuracyClass(saturate(x), float4(1.0, 4.0, 10.0, 32.0) / 96.0);
}

// The limits are used as given (not clamped); only x is.
float4 passfail(float x, float minPassFail, float maxPassFail)
{
    x = saturate(x);
    if (x < minPassFail || x > maxPassFail)
        return passfailcolors[1];
    return passfailcolors[0];
}

float4 trafficLight(float x, float minPassFail, float maxPassFail, float minWarn, float maxWarn)
{
    x = saturate(x);
    if (x < minPassFail || x > maxPassFail)
        return float4(1.0, 0.0, 0.0, 1.0);
    if (x < minWarn || x > maxWarn)
        return float4(1.0, 1.0, 0.0, 1.0);
    return float4(0.0, 0.5, 0.0, 1.0);
}

float4 coolwarm(float x)
{
    x = saturate(x);
    float t = 32.0 * x;
    float i = floor(t);
    int index = (int)i;
    return lerp(coolwarmcolors[index], coolwarmcolors[index + 1], t - i);
}

// Green's cubehelix: c.x is the angle, c.y the saturation, c.z the lightness. Not clamped.
float4 cubeHelix(float3 c)
{
    float a = c.y * c.z * (1.0 - c.z);
    float h = c.x + pi / 2.0;
    float cosH = cos(h);
    float sinH = sin(h);
    float r = c.z + a * (1.78277 * sinH - 0.14861 * cosH);
    float g = c.z - a * (0.29227 * cosH + 0.90649 * sinH);
    float b = c.z + a * 1.97294 * cosH;
    return float4(r, g, b, 1.0);
}

float4 cubeHelixDefault(float x)
{
    x = saturate(x);
    return cubeHelix(float3(lerp(300.0 / 180.0 * pi, -240.0 / 180.0 * pi, x), 0.5, x));
}

float4 cubeHelixRainbow(float x)
{
    x = saturate(x);
    float xs = abs(x - 0.5);
    return cubeHelix(float3((360.0 * x - 100.0) / 180.0 * pi, 1.5 - 1.5 * xs, 0.8 - 0.9 * xs));
}

// Google's Turbo as a degree-5 polynomial per channel.
float4 turbo(float x)
{
    x = saturate(x);
    float4 v4 = float4(1.0, x, x * x, x * x * x);
    float2 v2 = v4.zw * v4.z; // x^4, x^5
    float r = dot(v4, float4(0.13572138, 4.61539260, -42.66032258, 132.13108234))
              + dot(v2, float2(-152.94239396, 59.28637943));
    float g = dot(v4, float4(0.09140261, 2.19418839, 4.84296658, -14.18503333))
              + dot(v2, float2(4.27729857, 2.82956604));
    float b = dot(v4, float4(0.10667330, 12.64194608, -60.58204836, 110.36276771))
              + dot(v2, float2(-89.90310912, 27.34824973));
    return float4(r, g, b, 1.0);
}

// The matplotlib perceptual maps as degree-6 polynomials in Horner form; not clamped.
float4 horner6(float x, float3 c0, float3 c1, float3 c2, float3 c3, float3 c4, float3 c5, float3 c6)
{
    return float4(c0 + x * (c1 + x * (c2 + x * (c3 + x * (c4 + x * (c5 + x * c6))))), 1.0);
}

float4 inferno(float x)
{
    return horner6(saturate(x),
                   float3(0.0002189403691192265, 0.001651004631001012, -0.01948089843709184),
                   float3(0.1065134194856116, 0.5639564367884091, 3.932712388889277),
                   float3(11.60249308247187, -3.972853965665698, -15.9423941062914),
                   float3(-41.70399613139459, 17.43639888205313, 44.35414519872813),
                   float3(77.162935699427, -33.40235894210092, -81.80730925738993),
                   float3(-71.31942824499214, 32.62606426397723, 73.20951985803202),
                   float3(25.13112622477341, -12.24266895238567, -23.07032500287172));
}

float4 magma(float x)
{
    return horner6(saturate(x),
                   float3(-0.002136485053939582, -0.000749655052795221, -0.005386127855323933),
                   float3(0.2516605407371642, 0.6775232436837668, 2.494026599312351),
                   float3(8.353717279216625, -3.577719514958484, 0.3144679030132573),
                   float3(-27.66873308576866, 14.26473078096533, -13.64921318813922),
                   float3(52.17613981234068, -27.94360607168351, 12.94416944238394),
                   float3(-50.76852536473588, 29.04658282127291, 4.23415299384598),
                   float3(18.65570506591883, -11.48977351997711, -5.601961508734096));
}

float4 viridis(float x)
{
    return horner6(saturate(x),
                   float3(0.2777273272234177, 0.005407344544966578, 0.3340998053353061),
                   float3(0.1050930431085774, 1.404613529898575, 1.384590162594685),
                   float3(-0.3308618287255563, 0.214847559468213, 0.09509516302823659),
                   float3(-4.634230498983486, -5.799100973351585, -19.33244095627987),
                   float3(6.228269936347081, 14.17993336680509, 56.69055260068105),
                   float3(4.776384997670288, -13.74514537774601, -65.35303263337234),
                   float3(-5.435455855934631, 4.645852612178535, 26.3124352495832));
}

float4 plasma(float x)
{
    return horner6(saturate(x),
                   float3(0.05873234392399702, 0.02333670892565664, 0.5433401826748754),
                   float3(2.176514634195958, 0.2383834171260182, 0.7539604599784036),
                   float3(-2.689460476458034, -7.455851135738909, 3.110799939717086),
                   float3(6.130348345893603, 42.3461881477227, -28.51885465332158),
                   float3(-11.10743619062271, -82.66631109428045, 60.13984767418263),
                   float3(10.02306557647065, 71.41361770095349, -54.07218655560067),
                   float3(-3.658713842777788, -22.93153465461149, 18.19190778539828));
}

// The colour of x under map number cmap (Render::ColorMap); unknown numbers fall back to turbo.
// Only passfail and trafficLight use the limits.
float4 colorize(int cmap, float x, float minPassFail, float maxPassFail, float minWarn, float maxWarn)
{
    float4 color;
    [call] switch (cmap) {
    case 0: color = turbo(x); break;
    case 1: color = inferno(x); break;
    case 2: color = magma(x); break;
    case 3: color = viridis(x); break;
    case 4: color = plasma(x); break;
    case 5: color = gray(x); break;
    case 6: color = bone(x); break;
    case 7: color = redwhiteblue(x); break;
    case 8: color = levelofaccuracy(x); break;
    case 9: color = passfail(x, minPassFail, maxPassFail); break;
    case 10: color = trafficLight(x, minPassFail, maxPassFail, minWarn, maxWarn); break;
    case 11: color = coolwarm(x); break;
    case 12: color = levelofaccuracy_imperial(x); break;
    default: color = turbo(x); break;
    }
    return color;
}

// Each component of a unit normal from -1..1 to 0..1.
float4 colorizeByNormal(float3 nml)
{
    return float4(0.5 + 0.5 * nml, 1.0);
}

// No guard against an empty range: callers keep minValue and maxValue apart.
float normalizeInRange(float value, float minValue, float maxValue)
{
    return (value - minValue) / (maxValue - minValue);
}

// The limits are in the units of the distance, not in 0..1.
float4 colorizeByDistance(float distance, float minDist, float maxDist, int cmap, float minDistPassFail,
                          float maxDistPassFail, float minDistWarn, float maxDistWarn)
{
    return colorize(cmap, normalizeInRange(distance, minDist, maxDist),
                    normalizeInRange(minDistPassFail, minDist, maxDist),
                    normalizeInRange(maxDistPassFail, minDist, maxDist),
                    normalizeInRange(minDistWarn, minDist, maxDist),
                    normalizeInRange(maxDistWarn, minDist, maxDist));
}

// Signed; the normal is used as given, so the result is in units of its length.
float planeDistance(float3 pos, float4 plane)
{
    return dot(plane.xyz, pos) + plane.w;
}

// Brightness 0 and contrast 1 leave the colour as it is; alpha is never changed.
float4 adjustBrightnessContrast(float4 color, float brightness, float contrast)
{
    return float4(clamp(contrast * (color.rgb + brightness - 0.5) + 0.5, 0.0, 1.0), color.a);
}

#endif
