// How surfaces and points look. Both can also give their depth, to find what lies below the pointer.
import {Color, DoubleSide, ShaderMaterial, Vector2, Vector3} from 'three';

// Low to high, of heights and distances. The legend shows the same colours.
export const SCALE = ['#2c488a', '#28828e', '#6eb05c', '#ecca48', '#c8323c'];

const DEPTH = `
  vec4 packedDepth(float depth) {
    vec4 parts = fract(depth * vec4(1.0, 255.0, 65025.0, 16581375.0));
    return parts - parts.yzww * vec4(1.0 / 255.0, 1.0 / 255.0, 1.0 / 255.0, 0.0);
  }`;

export function depthOf(bytes) {
  return (bytes[0] + bytes[1] / 255 + bytes[2] / 65025 + bytes[3] / 16581375) / 255;
}

// Marks are in the fourth channel of colours, in sixty-fourths of a byte.
const MARKS = `
  float marks = floor(color.a * 255.0 / 64.0 + 0.5);
  float isColored = mod(marks, 2.0);
  float isFilled = floor(marks / 2.0);`;

const value = v => ({value: v});

export function surfaceMaterial(front, clippingPlanes) {
  return new ShaderMaterial({
    side: DoubleSide,
    clipping: true,
    clippingPlanes,
    polygonOffset: true,
    polygonOffsetFactor: 1,
    polygonOffsetUnits: 1,
    uniforms: {
      uFront: value(new Color(front)), uBack: value(new Color('#de9e60')), uFill: value(new Color('#b04a9c')),
      uFlat: value(false), uSides: value(true), uColors: value(true), uFilled: value(true), uDepth: value(false),
    },
    vertexShader: `
      attribute vec4 color;
      varying vec3 vView, vNormal, vColor;
      varying float vColored, vFilled;
      #include <clipping_planes_pars_vertex>
      void main() {
        ${MARKS}
        vec4 mvPosition = modelViewMatrix * vec4(position, 1.0);
        vView = mvPosition.xyz;
        vNormal = normalMatrix * normal;
        vColor = color.rgb;
        vColored = isColored;
        vFilled = isFilled;
        #include <clipping_planes_vertex>
        gl_Position = projectionMatrix * mvPosition;
      }`,
    fragmentShader: `
      uniform vec3 uFront, uBack, uFill;
      uniform bool uFlat, uSides, uColors, uFilled, uDepth;
      varying vec3 vView, vNormal, vColor;
      varying float vColored, vFilled;
      #include <clipping_planes_pars_fragment>
      ${DEPTH}
      void main() {
        #include <clipping_planes_fragment>
        if (uDepth) { gl_FragColor = packedDepth(gl_FragCoord.z); return; }
        vec3 flatNormal = normalize(cross(dFdx(vView), dFdy(vView)));
        vec3 normal = uFlat || dot(vNormal, vNormal) == 0.0 ? flatNormal : normalize(vNormal);
        if (dot(normal, flatNormal) < 0.0) normal = -normal;
        vec3 base = uColors ? mix(uFront, vColor, vColored) : uFront;
        if (uSides && !gl_FrontFacing) base = mix(uBack, base, uColors ? 0.6 * vColored : 0.0);
        if (uFilled) base = mix(base, uFill, 0.6 * vFilled);
        float light = 0.34 + 0.62 * max(dot(normal, normalize(vec3(-0.5, 0.65, 0.75))), 0.0)
            + 0.2 * max(dot(normal, normalize(vec3(0.8, -0.1, 0.6))), 0.0);
        float shine = pow(max(dot(normal, normalize(vec3(-0.25, 0.32, 0.91))), 0.0), 32.0);
        gl_FragColor = vec4(base * light + 0.1 * shine, 1.0);
      }`,
  });
}

export const POINTS_OWN = 0;
export const POINTS_HEIGHT = 1;
export const POINTS_DISTANCE = 2;

export function pointMaterial(clippingPlanes) {
  return new ShaderMaterial({
    clipping: true,
    clippingPlanes,
    uniforms: {
      uPlain: value(new Color('#2a4a80')), uSize: value(2), uMode: value(POINTS_OWN), uUp: value(new Vector3(0, 0, 1)),
      uHeights: value(new Vector2(0, 1)), uFarthest: value(1), uSecond: value(false), uDepth: value(false),
      uScale: value(SCALE.map(color => new Color(color))),
    },
    vertexShader: `
      attribute vec4 color;
      attribute vec2 distances;
      uniform vec3 uPlain, uUp, uScale[${SCALE.length}];
      uniform float uSize, uFarthest;
      uniform vec2 uHeights;
      uniform int uMode;
      uniform bool uSecond;
      varying vec3 vColor;
      #include <clipping_planes_pars_vertex>
      vec3 scaled(float share) {
        float at = clamp(share, 0.0, 1.0) * ${(SCALE.length - 1).toFixed(1)};
        vec3 result = uScale[0];
        for (int i = 1; i < ${SCALE.length}; ++i) result = mix(result, uScale[i], clamp(at - float(i - 1), 0.0, 1.0));
        return result;
      }
      void main() {
        ${MARKS}
        vec4 mvPosition = modelViewMatrix * vec4(position, 1.0);
        vColor = mix(uPlain, color.rgb, isColored);
        if (uMode == ${POINTS_HEIGHT})
          vColor = scaled((dot(position, uUp) - uHeights.x) / max(uHeights.y - uHeights.x, 1e-30));
        if (uMode == ${POINTS_DISTANCE}) vColor = scaled((uSecond ? distances.y : distances.x) / uFarthest);
        #include <clipping_planes_vertex>
        gl_Position = projectionMatrix * mvPosition;
        gl_PointSize = uSize;
      }`,
    fragmentShader: `
      uniform bool uDepth;
      varying vec3 vColor;
      #include <clipping_planes_pars_fragment>
      ${DEPTH}
      void main() {
        #include <clipping_planes_fragment>
        if (length(gl_PointCoord - 0.5) > 0.5) discard;
        gl_FragColor = uDepth ? packedDepth(gl_FragCoord.z) : vec4(vColor, 1.0);
      }`,
  });
}
