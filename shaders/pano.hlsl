// pano.hlsl
