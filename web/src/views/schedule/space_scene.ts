// A bar in space, with three.js. Loaded when one first wants to turn a bar.

import {
  Box3, Color, Curve, DirectionalLight, HemisphereLight, Mesh, MeshStandardMaterial, PerspectiveCamera, Scene, Sphere, Spherical,
  TubeGeometry, Vector3, WebGLRenderer,
} from 'three';
import {OrbitControls} from 'three/examples/jsm/controls/OrbitControls.js';

export interface Bar {
  /** Points along its middle, in millimetres. */
  path: readonly (readonly [number, number, number])[];
  diameter: number;
  /** Of the mandrel that it is bent around; 0 if that is not known. */
  bendDiameter: number;
}

export interface SpaceView {
  reset: () => void;
  turn: (aside: number, up: number) => void;
  zoom: (factor: number) => void;
  dispose: () => void;
}

/** Through all its points, at equal parameters: three.js would go along its length and cut the bends. */
class PointCurve extends Curve<Vector3> {
  constructor(private readonly points: Vector3[]) {
    super();
  }
  override getPoint(t: number, target = new Vector3()): Vector3 {
    return target.copy(this.at(t * (this.points.length - 1)));
  }
  override getPointAt(u: number, target?: Vector3): Vector3 {
    return this.getPoint(u, target);
  }
  override getTangentAt(u: number, target = new Vector3()): Vector3 {
    const at = u * (this.points.length - 1);
    return target.copy(this.at(at + 1)).sub(this.at(at - 1)).normalize();
  }
  private at(index: number): Vector3 {
    return this.points[Math.max(0, Math.min(this.points.length - 1, Math.round(index)))]!;
  }
}

const kBendPoints = 10;

/** The corners of the path as bends around the mandrel. */
function bent(bar: Bar): Vector3[] {
  const corners = bar.path.map(([x, y, z]) => new Vector3(x, y, z))
    .filter((point, i, all) => i === 0 || point.distanceToSquared(all[i - 1]!) > 1e-6);
  const radius = (bar.bendDiameter > 0 ? bar.bendDiameter : 4 * bar.diameter) / 2 + bar.diameter / 2;
  return corners.flatMap((corner, i) => {
    const before = corners[i - 1];
    const after = corners[i + 1];
    if (!before || !after) return [corner];
    const to = corner.clone().sub(before);
    const on = after.clone().sub(corner);
    const angle = to.angleTo(on);
    // Arcs come as many short pieces, which are round enough.
    if (angle < 0.2 || angle > 3.1) return [corner];
    const cut = Math.min(radius * Math.tan(angle / 2), to.length() / 2.01, on.length() / 2.01);
    const start = corner.clone().addScaledVector(to.normalize(), -cut);
    const end = corner.clone().addScaledVector(on.normalize(), cut);
    return Array.from({length: kBendPoints + 1}, (_, k) => {
      const t = k / kBendPoints;
      return start.clone().multiplyScalar((1 - t) ** 2).addScaledVector(corner, 2 * t * (1 - t)).addScaledVector(end, t * t);
    });
  });
}

/** Puts a picture of the bar into `place`. Throws where the browser has no WebGL. */
export function showInSpace(place: HTMLElement, bar: Bar, color: string): SpaceView {
  const renderer = new WebGLRenderer({antialias: true, alpha: true});
  renderer.setPixelRatio(Math.min(devicePixelRatio, 2));
  place.append(renderer.domElement);

  const points = bent(bar);
  const sphere = new Box3().setFromPoints(points).getBoundingSphere(new Sphere());
  const size = Math.max(sphere.radius, bar.diameter, 1);
  // As thick as it is, but never so thin that one sees nothing of it.
  const radius = Math.max(bar.diameter / 2, size / 220);
  const geometry = new TubeGeometry(new PointCurve(points), Math.max(1, points.length - 1), radius, 12, false);
  const material = new MeshStandardMaterial({color: new Color(color), roughness: 0.55, metalness: 0.15});
  const scene = new Scene();
  scene.add(new Mesh(geometry, material), new HemisphereLight(0xffffff, 0x606870, 2.2));
  const light = new DirectionalLight(0xffffff, 2);
  light.position.set(1, 2, 3);
  scene.add(light);

  const camera = new PerspectiveCamera(35, 1, size / 100, size * 40);
  camera.up.set(0, 0, 1);
  const controls = new OrbitControls(camera, renderer.domElement);
  controls.enablePan = false;
  controls.minDistance = size * 0.6;
  controls.maxDistance = size * 12;
  let frame = 0;
  const draw = () => {
    frame = 0;
    renderer.render(scene, camera);
  };
  const soon = () => {
    if (frame === 0) frame = requestAnimationFrame(draw);
  };
  controls.addEventListener('change', soon);

  const reset = () => {
    controls.target.copy(sphere.center);
    camera.position.copy(sphere.center).add(new Vector3(0.55, -1, 0.45).setLength(size * 3.8));
    controls.update();
    soon();
  };
  const move = (change: (at: Spherical) => void) => {
    const up = new Vector3(0, 0, 1);
    // Spherical coordinates of three.js have y upwards.
    const away = camera.position.clone().sub(controls.target);
    const at = new Spherical().setFromCartesianCoords(away.x, away.dot(up), -away.y);
    change(at);
    at.makeSafe();
    at.radius = Math.max(controls.minDistance, Math.min(controls.maxDistance, at.radius));
    const turned = new Vector3().setFromSpherical(at);
    camera.position.copy(controls.target).add(new Vector3(turned.x, -turned.z, turned.y));
    controls.update();
    soon();
  };
  const fit = () => {
    const {clientWidth, clientHeight} = place;
    if (clientWidth === 0 || clientHeight === 0) return;
    renderer.setSize(clientWidth, clientHeight);
    camera.aspect = clientWidth / clientHeight;
    camera.updateProjectionMatrix();
    soon();
  };
  const observer = new ResizeObserver(fit);
  observer.observe(place);
  fit();
  reset();
  return {
    reset,
    turn: (aside, up) => move((at) => {
      at.theta += aside;
      at.phi -= up;
    }),
    zoom: (factor) => move((at) => {
      at.radius *= factor;
    }),
    dispose: () => {
      observer.disconnect();
      cancelAnimationFrame(frame);
      controls.dispose();
      geometry.dispose();
      material.dispose();
      renderer.dispose();
      renderer.forceContextLoss();
      renderer.domElement.remove();
    },
  };
}
