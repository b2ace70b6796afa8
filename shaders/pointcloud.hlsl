// pointcloud.hlsl
